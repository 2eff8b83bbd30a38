// The page of `zsl-replay compare --html`, opened from file:// in Debian's
// headless Chromium (puppeteer-core): its verdicts against --json for the
// same sides, a picture per candidate and device, a device on one side
// only named, markup in a build name shown as text and never run, nothing
// wider than the window at 1400 and 800 px, and no script error and no
// request outside the file.
//   ZSL_REPLAY=build/zsl-replay ZSL_SOURCE_DIR=. node --test tests/page/compare.test.mjs
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

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zsl-compare-page-'));
const planted = '<img src=x onerror="window.pwned=1">';
// One trial of three builds on two devices: AP2A's frames later; a build
// named with markup; a device only AP3A has.
const make = (args) => execFileSync('/usr/bin/python3', [path.join(source, 'scripts/make-trial-table'), ...args],
  { encoding: 'utf8', maxBuffer: 1 << 28 });
const trial = path.join(work, 'trial.jsonl');
fs.writeFileSync(trial, make(['--captures', '1500', '--build', 'AP1A', '--seed', '1']) +
  make(['--captures', '1500', '--build', 'AP2A', '--seed', '2', '--lag-shift', '10']) +
  make(['--captures', '1500', '--build', 'AP3A' + planted, '--seed', '3']) +
  make(['--captures', '200', '--build', 'AP3A' + planted, '--seed', '4', '--device', 'zx1']));

function run(args) {
  const result = spawnSync(replay, args, { encoding: 'utf8', maxBuffer: 1 << 28 });
  assert.equal(result.status, 0, result.stderr);
  return result.stdout;
}
const pagePath = path.join(work, 'compare.html');
run(['compare', trial, '--by', 'build', '--html', pagePath]);
const truth = JSON.parse(run(['compare', trial, '--by', 'build', '--json']));

let browser;
let problems;
before(async () => {
  browser = await puppeteer.launch({
    executablePath: chromium,
    headless: true,
    args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
});
after(async () => {
  await browser?.close();
  fs.rmSync(work, { recursive: true, force: true });
});

async function open(width) {
  const page = await browser.newPage();
  await page.setViewport({ width, height: 900 });
  problems = [];
  page.on('pageerror', (error) => problems.push('script error: ' + error.message));
  page.on('console', (message) => { if (message.type() === 'error') problems.push('console: ' + message.text()); });
  page.on('request', (request) => {
    if (request.url() !== 'file://' + pagePath) problems.push('request: ' + request.url());
  });
  await page.goto('file://' + pagePath);
  return page;
}

describe('the page of a comparison', () => {
  test('shows --json\'s verdicts, one table and one lag picture per candidate and device', async () => {
    const page = await open(1400);
    const sections = await page.$$eval('h2', (heads) => heads.map((h) => {
      const rows = [];
      for (let at = h.nextElementSibling; at && at.tagName !== 'H2'; at = at.nextElementSibling) {
        if (at.tagName === 'TABLE') {
          for (const tr of at.querySelectorAll('tbody tr')) rows.push([...tr.cells].map((td) => td.textContent));
        }
      }
      const pictures = [];
      for (let at = h.nextElementSibling; at && at.tagName !== 'H2'; at = at.nextElementSibling) {
        pictures.push(...[...at.querySelectorAll('svg')].map((svg) => svg.getAttribute('aria-label')));
      }
      return { title: h.textContent, rows, pictures };
    }));
    const candidates = truth.candidates.map((c) => c.name);
    assert.equal(sections.length, candidates.length); // zx1 is on one side only
    for (const section of sections) {
      const side = candidates.find((name) => section.title === 'Device ab7: ' + name + ' against AP1A');
      assert.ok(side, section.title);
      const measures = truth.measures.filter((m) => m.side === side && m.device === 'ab7');
      assert.deepEqual(section.rows.map((row) => row[0]), measures.map((m) => m.name));
      section.rows.forEach((row, i) => assert.ok(row[5].startsWith(measures[i].verdict), row.join(' | ')));
      assert.ok(section.pictures.includes('the taken frames\' lags of both sides'));
      assert.ok(section.pictures.includes('rates of both sides with their 95% intervals'));
    }
    const worse = truth.measures.filter((m) => m.verdict === 'worse').map((m) => m.side + ' ' + m.name);
    assert.ok(worse.includes('AP2A lag_p50_ms'), worse.join(', '));
    const body = await page.$eval('body', (b) => b.textContent);
    assert.match(body, /Device zx1 is only on the candidate side \(200 captures of AP3A<img/);
    assert.equal(await page.evaluate(() => window.pwned), undefined);
    assert.equal(await page.$$eval('img', (images) => images.length), 0);
    assert.deepEqual(problems, []);
    await page.close();
  });

  for (const width of [1400, 800]) {
    test('nothing is wider than a window of ' + width + ' px', async () => {
      const page = await open(width);
      const overflow = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
      assert.ok(overflow <= 0, 'the page is ' + overflow + ' px wider than the window');
      await page.close();
    });
  }
});
