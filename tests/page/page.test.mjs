// The HTML page of `zsl-replay explain --html`, opened from file:// in
// Debian's headless Chromium (puppeteer-core): its rows against the capture
// table zsl-replay writes for the same inputs, a sort, filters, deep links,
// a capture's view against the text report, markup planted in a report
// shown as text and never run, and no script error and no request outside
// the file.
//   ZSL_REPLAY=build/zsl-replay ZSL_SOURCE_DIR=. node --test tests/page/
import { after, before, describe, test } from 'node:test';
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import puppeteer from 'puppeteer-core';

const replay = process.env.ZSL_REPLAY;
const source = process.env.ZSL_SOURCE_DIR;
assert.ok(replay && source, 'set ZSL_REPLAY and ZSL_SOURCE_DIR');
const chromium = process.env.ZSL_CHROMIUM || '/usr/bin/chromium';

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zsl-page-'));
const deviceLog = fs.readFileSync(path.join(source, 'examples/device.log'), 'utf8');
const planted = '<img src=x onerror="window.pwned=1">';

function bugReport(fingerprint) {
  return '========================================================\n== dumpstate: 2026-11-23 18:46:29\n' +
    '========================================================\n\nBuild fingerprint: \'' + fingerprint + '\'\n\n' +
    '------ SYSTEM LOG (logcat -v threadtime -d *:v) ------\n--------- beginning of main\n' + deviceLog +
    "------ 0.532s was the duration of 'SYSTEM LOG' ------\n";
}

// Two devices, two builds of one of them, a log without a bug report, and
// markup in a device name and a file name.
const folder = path.join(work, 'reports');
fs.mkdirSync(folder);
fs.writeFileSync(path.join(folder, 'a-ab7-1.txt'), bugReport('korvan/ab7/ab7:15/AP1A/100:user/release-keys'));
fs.writeFileSync(path.join(folder, 'b-ab7-2.txt'), bugReport('korvan/ab7/ab7:15/AP2A/200:user/release-keys'));
fs.writeFileSync(path.join(folder, 'c-' + planted + '.txt'), bugReport('korvan/x/' + planted + ':15/AP3A/300:user/release-keys'));
fs.writeFileSync(path.join(folder, 'd-plain.log'), deviceLog);

function run(args) {
  const result = spawnSync(replay, args, { encoding: 'utf8', maxBuffer: 1 << 28 });
  assert.equal(result.status, 0, result.stderr);
  return result.stdout;
}
const pagePath = path.join(work, 'page.html');
const tablePath = path.join(work, 'rows.jsonl');
const report = run(['explain', folder, '--html', pagePath, '--table', tablePath]);
const truth = fs.readFileSync(tablePath, 'utf8').trim().split('\n').map((line) => JSON.parse(line));

// The text report's block of each capture, in input order: its "-- " line and the indented lines under it.
const blocks = [];
for (const line of report.split('\n')) {
  if (line.startsWith('-- ')) blocks.push([line]);
  else if (line.startsWith('== ') || line.startsWith('Summary:') || line === '') blocks.push(null);
  else if (blocks.length && blocks[blocks.length - 1]) blocks[blocks.length - 1].push(line);
}
const captureBlocks = blocks.filter(Boolean);

let browser;
let problems; // script errors and requests beyond the file, per page opened
before(async () => {
  browser = await puppeteer.launch({
    executablePath: chromium,
    headless: true,
    args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--allow-file-access-from-files'],
  });
});
after(async () => {
  await browser?.close();
  fs.rmSync(work, { recursive: true, force: true });
});

async function open(file, fragment = '') {
  const page = await browser.newPage();
  problems = [];
  // Every text the line above the table shows, in order, from the first.
  await page.evaluateOnNewDocument(() => {
    window.shownTexts = [];
    new MutationObserver(() => {
      const shown = document.getElementById('shown');
      if (shown && shown.textContent && shown.textContent !== window.shownTexts.at(-1)) window.shownTexts.push(shown.textContent);
    }).observe(document, { subtree: true, childList: true, characterData: true });
  });
  page.on('pageerror', (error) => problems.push('script error: ' + error.message));
  page.on('console', (message) => { if (message.type() === 'error') problems.push('console: ' + message.text()); });
  page.on('request', (request) => {
    if (request.url().split('#')[0] !== 'file://' + file) problems.push('request: ' + request.url());
  });
  await page.goto('file://' + file + fragment);
  await page.waitForSelector('body[data-ready]');
  assert.equal(await page.$eval('body', (b) => b.dataset.ready), 'true', await page.$eval('#status', (s) => s.textContent));
  return page;
}

// A cell's whole text is its title where the cell shows less (a long input's end, a long answer).
const shownRows = (page) => page.$$eval('#captures tbody tr:not([hidden])', (rows) => rows.map((tr) => ({
  n: Number(tr.dataset.n),
  cells: [...tr.cells].map((td) => td.title || td.textContent),
})));
const column = (name) => ['#', 'input', 'device', 'build', 'time', 'fwkFrame', 'answer', 'taken', 'lag ms',
  'not known'].indexOf(name);
const refusedFor = (row, kind) => row['refused_' + kind] > 0;

describe('the page of a folder of bug reports', () => {
  test('shows one row per capture, in input order, with the table\'s device, build and frames', async () => {
    const page = await open(pagePath);
    const rows = await shownRows(page);
    assert.equal(rows.length, truth.length);
    rows.forEach((row, i) => {
      assert.equal(row.n, i + 1);
      assert.equal(row.cells[column('input')], truth[i].input);
      assert.equal(row.cells[column('device')], truth[i].device || '–');
      assert.equal(row.cells[column('build')], truth[i].build || '–');
      assert.equal(row.cells[column('fwkFrame')], String(truth[i].fwk_frame));
      assert.equal(row.cells[column('answer')], truth[i].answer);
      assert.equal(row.cells[column('not known')], truth[i].unknown ? truth[i].unknown.split(' | ').join('\n') : '');
    });
    assert.deepEqual(problems, []);
    await page.close();
  });

  test('opens on the summary, with the text summary\'s figures', async () => {
    const page = await open(pagePath);
    assert.equal(await page.$eval('#summary', (s) => s.hidden), false);
    const text = await page.$eval('#summary details pre', (pre) => pre.textContent);
    assert.equal(text, report.slice(report.indexOf('Summary:')).trimEnd());
    const summary = await page.$eval('#summary-body', (body) => body.textContent);
    assert.match(summary, new RegExp(truth.length + ' captures from 4 inputs'));
    await page.close();
  });

  const filters = [
    ['#device=ab7', (r) => r.device === 'ab7'],
    ['#device=ab7&build=' + encodeURIComponent('15/AP2A/200:user/release-keys'), (r) => r.device === 'ab7' && r.build.startsWith('15/AP2A')],
    ['#device=', (r) => r.device === ''],
    ['#reason=af', (r) => refusedFor(r, 'af')],
    ['#reason=sensor_mode&device=ab7', (r) => refusedFor(r, 'sensor_mode') && r.device === 'ab7'],
    ['#q=' + encodeURIComponent('C-<IMG'), (r) => r.input.includes('c-<img')], // any case
    ['#q=AP3A', (r) => r.build.includes('AP3A')],
  ];
  for (const [fragment, keep] of filters) {
    test('a link to ' + fragment + ' shows exactly the captures it names', async () => {
      const page = await open(pagePath, fragment);
      const shown = (await shownRows(page)).map((row) => row.n);
      const expected = truth.map((row, i) => (keep(row) ? i + 1 : 0)).filter(Boolean);
      assert.ok(expected.length > 0 && expected.length < truth.length, 'the filter must split the captures');
      assert.deepEqual(shown, expected);
      assert.deepEqual(problems, []);
      await page.close();
    });
  }

  test('a filter chosen on the page updates the rows and the fragment', async () => {
    const page = await open(pagePath);
    const value = await page.$eval('#f-reason', (select) => [...select.options].find((o) => o.textContent === 'sensor_mode').value);
    await page.select('#f-reason', value);
    const shown = (await shownRows(page)).map((row) => row.n);
    assert.deepEqual(shown, truth.map((row, i) => (refusedFor(row, 'sensor_mode') ? i + 1 : 0)).filter(Boolean));
    assert.equal(new URL(page.url()).hash, '#reason=sensor_mode');
    await page.type('#f-q', 'ap2a');
    const typed = (await shownRows(page)).map((row) => row.n);
    assert.deepEqual(typed, truth.map((row, i) => (refusedFor(row, 'sensor_mode') && row.build.includes('AP2A') ? i + 1 : 0)).filter(Boolean));
    assert.equal(new URL(page.url()).hash, '#reason=sensor_mode&q=ap2a');
    await page.close();
  });

  test('sorts on a column, both ways, from the keyboard too', async () => {
    const page = await open(pagePath);
    const byFrame = truth.map((row, i) => ({ n: i + 1, frame: row.fwk_frame }));
    const ascending = [...byFrame].sort((a, b) => a.frame - b.frame || a.n - b.n).map((r) => r.n);
    const descending = [...byFrame].sort((a, b) => b.frame - a.frame || a.n - b.n).map((r) => r.n);
    await page.click('th[data-key="fwkFrame"] button');
    assert.deepEqual((await shownRows(page)).map((r) => r.n), ascending);
    await page.focus('th[data-key="fwkFrame"] button');
    await page.keyboard.press('Enter');
    assert.deepEqual((await shownRows(page)).map((r) => r.n), descending);
    assert.equal(new URL(page.url()).hash, '#sort=fwkFrame&dir=desc');
    assert.equal(await page.$eval('th[data-key="fwkFrame"]', (th) => th.getAttribute('aria-sort')), 'descending');
    // The sort is kept by a link.
    const linked = await open(pagePath, '#sort=fwkFrame&dir=desc');
    assert.deepEqual((await shownRows(linked)).map((r) => r.n), descending);
    await page.close();
    await linked.close();
  });

  for (const width of [1400, 800]) {
    test('at ' + width + ' px no row is higher than three lines and nothing is wider than its box', async () => {
      const page = await browser.newPage();
      await page.setViewport({ width, height: 900 });
      await page.goto('file://' + pagePath);
      await page.waitForSelector('body[data-ready]');
      const layout = await page.evaluate(() => {
        const line = parseFloat(getComputedStyle(document.querySelector('#captures td')).lineHeight);
        const rows = [...document.querySelectorAll('#captures tbody tr')].map((tr) => tr.getBoundingClientRect().height);
        const wrap = document.querySelector('#list .table-wrap');
        return { line, rows, page: document.documentElement.scrollWidth, window: innerWidth, wrap: wrap.scrollWidth - wrap.clientWidth };
      });
      assert.ok(layout.rows.length > 0);
      for (const height of layout.rows) assert.ok(height <= 3 * layout.line + 8, 'a row ' + height + ' px high; a line is ' + layout.line);
      assert.ok(layout.page <= layout.window, 'the page is ' + layout.page + ' px wide in a window of ' + layout.window);
      if (width >= 1400) assert.equal(layout.wrap, 0, 'the capture table is wider than the page at ' + width + ' px');
      await page.close();
    });
  }

  test('a capture\'s view says what the text report says, and draws frames whose time the log lacks', async () => {
    // Capture 2 of each log is fwkFrame 300: frame 65 is taken, and its shutter time is not in the log.
    const n = truth.findIndex((row) => row.fwk_frame === 300) + 1;
    const page = await open(pagePath, '#capture=' + n);
    assert.equal(await page.$eval('#capture', (s) => s.hidden), false);
    assert.equal(await page.$eval('#list', (s) => s.hidden), true);
    const explanation = await page.$eval('#capture-body pre.explanation', (pre) => pre.textContent.split('\n'));
    const step = explanation.slice(explanation.findIndex((line) => line.startsWith('-- ')));
    assert.deepEqual(step, captureBlocks[n - 1]);
    const svg = await page.$eval('#capture-body svg', (s) => s.textContent);
    assert.match(svg, /time not in the log/);
    const frames = await page.$$eval('#capture-body svg circle title', (titles) => titles.map((t) => t.textContent));
    assert.ok(frames.includes('frame 65, time not in the log, selected, taken'), frames.join('; '));
    // The answer first; frames without a time drawn before the capture moment; the picture as wide as the page.
    assert.equal(await page.$eval('#capture-body p.answer', (p) => p.textContent), truth[n - 1].answer);
    const drawing = await page.evaluate(() => {
      const svg = document.querySelector('#capture-body svg');
      const moment = [...svg.querySelectorAll('text')].find((t) => t.textContent === 'capture moment');
      const untimed = [...svg.querySelectorAll('circle')].filter((c) => c.querySelector('title')?.textContent.includes('time not in the log'));
      return { moment: Number(moment.getAttribute('x')), untimed: untimed.map((c) => Number(c.getAttribute('cx'))),
        width: svg.getBoundingClientRect().width, body: document.querySelector('#capture-body').clientWidth };
    });
    assert.ok(drawing.untimed.length > 0);
    for (const cx of drawing.untimed) assert.ok(cx < drawing.moment, 'a frame without a time at ' + cx + ', after the capture moment at ' + drawing.moment);
    assert.ok(drawing.width >= 0.9 * drawing.body, 'the timeline is ' + drawing.width + ' px of ' + drawing.body);
    // Checks with a word and a mark, never colour alone.
    const checks = await page.$$eval('#capture-body table:not(.lines) tbody tr', (rows) => rows.map((tr) => tr.cells[1].textContent));
    assert.deepEqual(checks, ['✗ refused', '✓ accepted', '✓ accepted']);
    // The plug-in's lines, with their file and line number in it, and their
    // place in the plug-in's source.
    const lines = await page.$$eval('#capture-body table.lines tbody tr', (rows) => rows.map((tr) => [...tr.cells].map((td) => td.textContent)));
    const file = fs.readFileSync(path.join(folder, truth[n - 1].input.split('/').pop()), 'utf8').split('\n');
    assert.ok(lines.length > 5);
    for (const [input, number, , , where, text] of lines) {
      assert.equal(input, truth[n - 1].input);
      assert.ok(file[Number(number) - 1].endsWith(where + text), 'line ' + number + ' is ' + file[Number(number) - 1]);
    }
    assert.deepEqual(problems, []);
    await page.close();
  });

  test('markup in a file name and a device name is shown as text and never runs', async () => {
    const page = await open(pagePath, '#device=' + encodeURIComponent(planted));
    const rows = await shownRows(page);
    assert.ok(rows.length > 0);
    for (const row of rows) {
      assert.equal(row.cells[column('device')], planted);
      assert.ok(row.cells[column('input')].includes(planted));
    }
    await page.goto('file://' + pagePath + '#capture=' + rows[0].n);
    await page.waitForSelector('#capture-body pre');
    assert.equal(await page.evaluate(() => window.pwned), undefined);
    assert.equal(await page.$$eval('img', (images) => images.length), 0);
    assert.deepEqual(problems, []);
    await page.close();
  });

  test('a link to a capture the page does not hold says so and shows the table', async () => {
    const page = await open(pagePath, '#capture=' + (truth.length + 1));
    assert.equal(await page.$eval('#status', (s) => s.textContent),
        'No capture ' + (truth.length + 1) + ' in this page: it holds captures 1 to ' + truth.length + '.');
    assert.equal(await page.$eval('#list', (s) => s.hidden), false);
    assert.equal((await shownRows(page)).length, truth.length);
    assert.deepEqual(problems, []);
    await page.close();
  });

  test('references nothing outside the file', () => {
    const html = fs.readFileSync(pagePath, 'utf8');
    assert.doesNotMatch(html, /\b(src|href)\s*=\s*["']?(https?:|\/\/)/i);
    assert.doesNotMatch(html, /@import|url\(/i);
    assert.match(html, /Content-Security-Policy" content="default-src 'none'/);
  });
});

describe('the page of a replay', () => {
  test('a queue named with markup, in a trace, is shown as text', async () => {
    const trace = JSON.parse(fs.readFileSync(path.join(source, 'examples/overview.json'), 'utf8'));
    trace.name = '</script><script>window.pwned=2</script>';
    trace.queues[0].name = '<img src=x onerror="window.pwned=3">';
    const tracePath = path.join(work, 'markup.json');
    fs.writeFileSync(tracePath, JSON.stringify(trace));
    const replayPage = path.join(work, 'replay.html');
    run(['replay', tracePath, '--html', replayPage]);
    const page = await open(replayPage, '#capture=1');
    await page.waitForSelector('#capture-body pre');
    const text = await page.$eval('#capture-body', (body) => body.textContent);
    assert.ok(text.includes(trace.name), 'the trace name is shown');
    assert.equal(await page.evaluate(() => window.pwned), undefined);
    assert.deepEqual(problems, []);
    await page.close();
  });
});

describe('a page of over a thousand captures', () => {
  test('shows them a hundred at a time, and decodes the view of a capture in a later chunk', async () => {
    const big = path.join(work, 'big');
    fs.mkdirSync(big);
    for (let i = 0; i < 260; ++i) fs.writeFileSync(path.join(big, 'log-' + String(i).padStart(3, '0') + '.log'), deviceLog);
    const bigPage = path.join(work, 'big.html');
    const bigReport = run(['explain', big, '--html', bigPage]);
    assert.match(fs.readFileSync(bigPage, 'utf8'), /data-encoding="gzip-base64"/);
    const page = await open(bigPage);
    // The first hundred rows were drawn before the others were read, the
    // filters waiting for them; then the table says how many there are.
    assert.deepEqual(await page.evaluate(() => window.shownTexts),
      ['Captures 1 to 100 of 1040; the others are being read.', 'Captures 1 to 100 of 1040.']);
    assert.equal(await page.$eval('#f-device', (select) => select.disabled), false, 'the filters work once every row is read');
    await page.click('#pager button:last-child');
    assert.deepEqual((await shownRows(page)).map((row) => row.n), Array.from({ length: 100 }, (_, i) => 101 + i));
    assert.equal(new URL(page.url()).hash, '#page=2');
    await page.goto('file://' + bigPage + '#capture=300');
    await page.waitForFunction(() => document.querySelector('#capture-title').textContent.startsWith('Capture 300'));
    const explanation = await page.$eval('#capture-body pre.explanation', (pre) => pre.textContent);
    const heads = bigReport.split('\n').filter((line) => line.startsWith('-- '));
    assert.ok(explanation.includes(heads[299]));
    assert.deepEqual(problems, []);
    await page.close();
  });
});
