'use strict';
// The page's script: reads the data blocks, draws the summary, the capture
// table and a capture's view, and keeps what is shown in the URL fragment.
// Every text from the data is set with textContent: a log's text is shown,
// never parsed as markup.
// Over 400 lines: one script the page carries inline; its sections become
// modules joined at build time with the planned split of the page's code.
(function () {
  const SVG = 'http://www.w3.org/2000/svg';
  // Up to ALL_ROWS rows are shown at once; more are shown PAGE_ROWS at a
  // time, so that a page of 16,000 captures opens about as fast as a small one.
  const ALL_ROWS = 1000, PAGE_ROWS = 100;
  const $ = (id) => document.getElementById(id);

  // el('td', {class: 'num'}, 'text', child...): an element, strings as text.
  function el(tag, attrs, ...children) {
    const node = document.createElement(tag);
    for (const [key, value] of Object.entries(attrs || {})) {
      if (value !== undefined && value !== null && value !== false) node.setAttribute(key, value === true ? '' : value);
    }
    for (const child of children) {
      if (child === null || child === undefined) continue;
      node.append(typeof child === 'string' || typeof child === 'number' ? String(child) : child);
    }
    return node;
  }
  function svgEl(tag, attrs, text) {
    const node = document.createElementNS(SVG, tag);
    for (const [key, value] of Object.entries(attrs || {})) node.setAttribute(key, value);
    if (text !== undefined) node.textContent = text;
    return node;
  }

  // A data block: JSON, or gzip in base64 when the page is large.
  async function block(id) {
    const node = $(id);
    if (!node) throw new Error('the page has no data block ' + id);
    if (node.dataset.encoding !== 'gzip-base64') return JSON.parse(node.textContent);
    const text = atob(node.textContent.trim());
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'));
    return JSON.parse(await new Response(stream).text());
  }

  const state = { head: null, rows: [], views: new Map(), filter: {}, sort: null, page: 0, capture: null };

  // A row as the page reads it (HtmlPage.cpp writes it): repeated texts by number.
  function expandRow(a, i) {
    const texts = state.head.texts;
    const row = { n: i + 1, input: texts[a[0]], device: texts[a[1]], build: texts[a[2]], time: a[3], fwk_frame: a[4],
      kind: a[5], zsl_needed: a[6], anchor_frame: a[7], selected: a[8], requested: a[9], taken: a[10],
      taken_frames: a[11], refused: a[12], unknown: texts[a[14]], lag_min: a[15], lag_max: a[16], lag_unknown: a[17],
      answer: a[18], search: null };
    state.head.reasonClasses.forEach((kind, k) => { row['refused_' + kind] = a[13][k]; });
    return row;
  }
  // The text the free-text filter looks in: what the row shows, made when first asked.
  function searchText(row) {
    if (row.search === null) row.search = columns.map((c) => (c.title ? c.title(row) : c.text ? c.text(row) : c.value(row))).join('\u0001').toLowerCase();
    return row.search;
  }

  // ---- what a row shows ----
  const dash = '–';
  const orDash = (v) => (v === null || v === undefined || v === '' ? dash : String(v));
  // "✓ 1 of 1: 44": the mark says whether the capture got every frame it wanted (the legend under the table).
  function takenText(row) {
    if (row.taken === null) return row.requested === null ? dash : 'not in the log';
    const full = row.requested !== null && row.taken >= row.requested;
    return (full ? '✓ ' : '✗ ') + row.taken + ' of ' + orDash(row.requested) + (row.taken_frames ? ': ' + row.taken_frames : '');
  }
  // The taken frames' lag in ms: one value, or the least and the most.
  function lagText(row) {
    if (row.lag_max === null) return row.lag_unknown > 0 ? 'not in the log' : dash;
    const range = row.lag_min === row.lag_max ? fmt(row.lag_max, 1) : fmt(row.lag_min, 1) + '–' + fmt(row.lag_max, 1);
    return range + (row.lag_unknown > 0 ? ' +' + row.lag_unknown + ' ?' : '');
  }
  const notes = (row) => (row.unknown ? row.unknown.split(' | ') : []);
  // The input's end, where file names differ: "…/day-2/bugreport.zip"; the whole name is its title.
  function shortInput(name) {
    if (name.length <= 24) return name;
    const tail = name.slice(-23), slash = tail.indexOf('/');
    return '…' + (slash >= 0 && slash < tail.length - 1 ? tail.slice(slash) : tail);
  }
  // `title`: the cell's whole text on hover, where the cell shows less.
  const columns = [
    { key: 'n', label: '#', num: true, value: (r) => r.n },
    { key: 'input', label: 'input', value: (r) => r.input, text: (r) => shortInput(r.input), title: (r) => r.input, cls: 'input' },
    { key: 'device', label: 'device', value: (r) => r.device, title: (r) => r.device, cls: 'name' },
    { key: 'build', label: 'build', value: (r) => r.build, title: (r) => r.build, cls: 'name' },
    { key: 'time', label: 'time', value: (r) => r.time },
    { key: 'fwkFrame', label: 'fwkFrame', num: true, value: (r) => r.fwk_frame },
    { key: 'answer', label: 'answer', value: (r) => r.answer, title: (r) => r.answer, cls: 'answer' },
    { key: 'taken', label: 'taken', num: true, value: (r) => r.taken, text: takenText },
    { key: 'lag', label: 'lag ms', num: true, value: (r) => r.lag_max, text: lagText,
      title: (r) => 'the taken frames were shot ' + lagText(r) + ' ms before the capture moment' },
    { key: 'unknown', label: 'not known', num: true, value: (r) => notes(r).length || null,
      text: (r) => (notes(r).length ? String(notes(r).length) : ''), title: (r) => notes(r).join('\n'), cls: 'unknown' },
  ];
  const columnByKey = new Map(columns.map((c) => [c.key, c]));

  // ---- the fragment: #device=ab7&reason=ae&q=text&capture=3&sort=taken&dir=desc ----
  function readFragment() {
    const out = {};
    const hash = location.hash.replace(/^#/, '');
    for (const part of hash ? hash.split('&') : []) {
      const at = part.indexOf('=');
      const key = at < 0 ? part : part.slice(0, at);
      let value = at < 0 ? '' : part.slice(at + 1);
      try { value = decodeURIComponent(value.replace(/\+/g, ' ')); } catch (e) { /* shown as written */ }
      out[key] = value;
    }
    return out;
  }
  function fragmentOf(withCapture) {
    const parts = [];
    for (const key of ['device', 'build', 'reason', 'q']) {
      if (state.filter[key] !== undefined) parts.push(key + '=' + encodeURIComponent(state.filter[key]));
    }
    if (state.sort) parts.push('sort=' + state.sort.key, 'dir=' + (state.sort.desc ? 'desc' : 'asc'));
    if (state.page > 0) parts.push('page=' + (state.page + 1));
    if (withCapture !== null && withCapture !== undefined) parts.push('capture=' + withCapture);
    return '#' + parts.join('&');
  }
  function applyFragment() {
    const f = readFragment();
    state.filter = {};
    // An empty device or build is a capture without a bug report; an empty reason or text filters nothing.
    for (const key of ['device', 'build', 'reason', 'q']) if (f[key] !== undefined) state.filter[key] = f[key];
    if (state.filter.q === '') delete state.filter.q;
    if (!state.head.reasonClasses.includes(state.filter.reason)) delete state.filter.reason;
    const sortColumn = columnByKey.get(f.sort);
    state.sort = sortColumn ? { key: sortColumn.key, desc: f.dir === 'desc' } : null;
    const page = parseInt(f.page, 10);
    state.page = page > 0 ? page - 1 : 0;
    const capture = /^[0-9]+$/.test(f.capture || '') ? parseInt(f.capture, 10) : null;
    state.capture = capture !== null && capture >= 1 && capture <= state.rows.length ? capture : null;
    if (f.capture !== undefined && state.capture === null) {
      setStatus('No capture ' + f.capture + ' in this page: it holds captures 1 to ' + state.rows.length + '.', true);
    } else {
      setStatus(state.rows.length + ' capture' + (state.rows.length === 1 ? '' : 's') + ', from zsl-replay.');
    }
  }
  function updateFragment() {
    history.replaceState(null, '', fragmentOf(state.capture));
  }

  function setStatus(text, error) {
    const status = $('status');
    status.textContent = text;
    status.className = error ? 'error' : '';
  }

  // ---- the summary ----
  function countTable(heads, rows) {
    const table = el('table', {}, el('thead', {}, el('tr', {}, ...heads.map((h, i) => el('th', { scope: 'col', class: i >= 1 && typeof rows[0]?.[i] === 'number' ? 'num' : null }, h)))));
    const body = el('tbody');
    for (const row of rows) body.append(el('tr', {}, ...row.map((cell) => cell instanceof Node ? el('td', {}, cell) : el('td', { class: typeof cell === 'number' ? 'num' : null }, String(cell)))));
    table.append(body);
    return table;
  }
  function link(text, fragment) {
    return el('a', { href: fragment }, text);
  }
  function percent(part, whole) {
    return whole === 0 ? dash : Math.round((100 * part) / whole) + '%';
  }
  function fmt(ms, digits) {
    return ms === null || ms === undefined ? dash : Number(ms).toFixed(digits === undefined ? 3 : digits);
  }
  function drawSummary() {
    const s = state.head.summary;
    const body = $('summary-body');
    body.replaceChildren();
    body.append(el('p', {}, s.captures + ' capture' + (s.captures === 1 ? '' : 's') + ' from ' + s.inputs + ' input' + (s.inputs === 1 ? '' : 's') + '.'));
    const grid = el('div', { class: 'summary-grid' });
    const groups = s.groups.map((g) => [
      g.device ? link(g.device, '#device=' + encodeURIComponent(g.device)) : link('(no bug report)', '#device='),
      g.build ? link(g.build, '#device=' + encodeURIComponent(g.device) + '&build=' + encodeURIComponent(g.build)) : dash,
      g.captures, g.selections, g.takenKnown, g.takenInFull + ' (' + percent(g.takenInFull, g.takenKnown) + ')']);
    grid.append(el('div', {}, el('h3', {}, 'Captures per device and build'),
        countTable(['device', 'build', 'captures', 'selections', 'taken known', 'taken in full'], groups)));

    const most = Math.max(1, ...Object.values(s.refusedByClass));
    const refused = el('table', { class: 'bars' }, el('thead', {}, el('tr', {}, el('th', { scope: 'col' }, 'reason class'), el('th', { scope: 'col', class: 'num' }, 'frames'), el('th', { scope: 'col' }, "share"))));
    const refusedBody = el('tbody');
    for (const kind of state.head.reasonClasses) {
      const count = s.refusedByClass[kind] || 0;
      refusedBody.append(el('tr', {}, el('td', {}, count > 0 ? link(kind, '#reason=' + kind) : kind), el('td', { class: 'num' }, count),
          el('td', { class: 'bar' }, el('span', { class: 'fill', style: 'width:' + (100 * count / most).toFixed(1) + '%' }))));
    }
    refused.append(refusedBody);
    grid.append(el('div', {}, el('h3', {}, 'Frames refused, by reason class'),
        el('p', {}, s.framesRefused + ' of ' + s.framesChecked + ' frames checked were refused' + (s.verdictUnknown ? '; verdict not in the log: ' + s.verdictUnknown : '') + '.'), refused));
    body.append(grid);

    const lag = s.takenLagMs;
    body.append(el('h3', {}, 'Taken frames: shot how long before the capture moment'));
    if (lag.frames === 0) {
      body.append(el('p', {}, "No taken frame's time is known" + (lag.unknown ? ' (' + lag.unknown + ' not in the log).' : '.')));
    } else {
      body.append(el('p', {}, 'p50 ' + fmt(lag.p50) + ' ms, p90 ' + fmt(lag.p90) + ' ms, p99 ' + fmt(lag.p99) + ' ms, max ' + fmt(lag.max) + ' ms (' + lag.frames + ' frame' + (lag.frames === 1 ? '' : 's') + ')' +
          (lag.unknown ? '; shutter time not in the log: ' + lag.unknown + ' frame' + (lag.unknown === 1 ? '' : 's') : '') + '.'));
      body.append(histogram(state.head.histogram, lag));
    }
    body.append(el('details', {}, el('summary', {}, 'The same summary as zsl-replay prints it'), el('pre', {}, state.head.summaryText.join('\n'))));
  }
  // The lag histogram, its percentiles labelled in a band above the bars.
  function histogram(h, lag) {
    const width = 720, left = 50, plotWidth = width - left - 30, band = 40, plotHeight = 120;
    const svg = svgEl('svg', { width, height: band + plotHeight + 40, role: 'img', 'aria-label': 'Histogram of the taken frames\' lag; p50 ' + fmt(lag.p50, 1) + ' ms, p90 ' + fmt(lag.p90, 1) + ' ms, p99 ' + fmt(lag.p99, 1) + ' ms' });
    const tallest = Math.max(1, ...h.counts);
    const x = (ms) => left + ((ms - h.low) / (h.high - h.low)) * plotWidth;
    const base = band + plotHeight;
    h.counts.forEach((count, b) => {
      const barHeight = (count * plotHeight) / tallest;
      const from = h.low + ((h.high - h.low) * b) / h.counts.length, to = h.low + ((h.high - h.low) * (b + 1)) / h.counts.length;
      const rect = svgEl('rect', { x: x(from), y: base - barHeight, width: Math.max(1, x(to) - x(from) - 2), height: barHeight, fill: '#1565c0' });
      rect.append(svgEl('title', {}, count + ' frames, ' + fmt(from, 1) + ' to ' + fmt(to, 1) + ' ms'));
      svg.append(rect);
      if (count > 0) svg.append(svgEl('text', { x: (x(from) + x(to)) / 2, y: base - barHeight - 3, 'font-size': 10, 'text-anchor': 'middle' }, String(count)));
    });
    svg.append(svgEl('line', { x1: left, x2: left + plotWidth, y1: base, y2: base, stroke: '#333' }));
    // The count axis: frames per bar, 0 to the tallest.
    svg.append(svgEl('line', { x1: left, x2: left, y1: base - plotHeight, y2: base, stroke: '#333' }));
    for (const tick of [...new Set([0, Math.round(tallest / 2), tallest])]) {
      const ty = base - (tick * plotHeight) / tallest;
      svg.append(svgEl('line', { x1: left - 4, x2: left, y1: ty, y2: ty, stroke: '#333' }));
      svg.append(svgEl('text', { x: left - 6, y: ty + 4, 'font-size': 10, 'text-anchor': 'end' }, String(tick)));
    }
    svg.append(svgEl('text', { x: 4, y: base - plotHeight - 8, 'font-size': 10 }, 'frames'));
    ['p50', 'p90', 'p99'].forEach((p, i) => {
      const px = x(lag[p]);
      const atRight = px > left + plotWidth - 90;
      svg.append(svgEl('line', { x1: px, x2: px, y1: 4 + 12 * i, y2: base, stroke: '#000', 'stroke-dasharray': '3,3' }));
      svg.append(svgEl('text', { x: atRight ? px - 3 : px + 3, y: 12 + 12 * i, 'font-size': 11, 'text-anchor': atRight ? 'end' : 'start' }, p + ' ' + fmt(lag[p], 1) + ' ms'));
    });
    for (const tick of [h.low, (h.low + h.high) / 2, h.high]) {
      svg.append(svgEl('text', { x: x(tick), y: base + 16, 'font-size': 11, 'text-anchor': 'middle' }, fmt(tick, 1) + ' ms'));
    }
    return svg;
  }

  // ---- the table ----
  function rowMatches(row) {
    const f = state.filter;
    if (f.device !== undefined && row.device !== f.device) return false;
    if (f.build !== undefined && row.build !== f.build) return false;
    if (f.reason !== undefined && !(row['refused_' + f.reason] > 0)) return false;
    if (f.q !== undefined && !searchText(row).includes(f.q.toLowerCase())) return false;
    return true;
  }
  // Either way, what is not known comes last and equal rows keep their input order.
  function compare(a, b, column, desc) {
    const x = column.value(a), y = column.value(b);
    const missingX = x === null || x === undefined || x === '', missingY = y === null || y === undefined || y === '';
    if (missingX || missingY) return missingX === missingY ? a.n - b.n : missingX ? 1 : -1;
    const order = typeof x === 'number' && typeof y === 'number' ? x - y
      : String(x).localeCompare(String(y), undefined, { numeric: true });
    return (desc ? -order : order) || a.n - b.n;
  }
  function shownRows() {
    const rows = state.rows.filter(rowMatches);
    if (state.sort) {
      const column = columnByKey.get(state.sort.key);
      rows.sort((a, b) => compare(a, b, column, state.sort.desc));
    }
    return rows;
  }
  function drawHead() {
    const tr = document.querySelector('#captures thead tr');
    tr.replaceChildren();
    for (const column of columns) {
      const sorted = state.sort && state.sort.key === column.key;
      const th = el('th', { scope: 'col', class: column.num ? 'num' : null, 'data-key': column.key,
        'aria-sort': sorted ? (state.sort.desc ? 'descending' : 'ascending') : 'none' },
      el('button', { type: 'button', title: 'sort by ' + column.label }, column.label));
      th.querySelector('button').addEventListener('click', () => {
        state.sort = { key: column.key, desc: sorted ? !state.sort.desc : false };
        state.page = 0;
        updateFragment();
        drawTable();
      });
      tr.append(th);
    }
  }
  // A filter's choices; an option's value is its index, so that any text (even "") can be chosen.
  function fillSelect(select, key, values, label) {
    select.replaceChildren(el('option', { value: '' }, 'all'));
    values.forEach((value, i) => select.append(el('option', { value: 'v' + i }, label(value))));
    const at = state.filter[key] === undefined ? -1 : values.indexOf(state.filter[key]);
    select.value = at < 0 ? '' : 'v' + at;
    select.onchange = () => {
      if (select.value === '') delete state.filter[key];
      else state.filter[key] = values[parseInt(select.value.slice(1), 10)];
      state.page = 0;
      updateFragment();
      drawTable();
    };
  }
  function drawFilters() {
    const devices = [...new Set(state.rows.map((r) => r.device))].sort();
    const builds = [...new Set(state.rows.map((r) => r.build))].sort();
    fillSelect($('f-device'), 'device', devices, (d) => d || '(no bug report)');
    fillSelect($('f-build'), 'build', builds, (b) => b || dash);
    fillSelect($('f-reason'), 'reason', state.head.reasonClasses, (k) => k);
    $('f-q').value = state.filter.q || '';
  }
  function drawTable() {
    drawHead();
    const rows = shownRows();
    const pageRows = rows.length > ALL_ROWS ? PAGE_ROWS : ALL_ROWS;
    const pages = Math.max(1, Math.ceil(rows.length / pageRows));
    state.page = Math.min(state.page, pages - 1);
    const first = state.page * pageRows;
    const body = document.querySelector('#captures tbody');
    const fragment = document.createDocumentFragment();
    for (const row of rows.slice(first, first + pageRows)) {
      const tr = el('tr', { 'data-n': row.n });
      for (const column of columns) {
        const value = column.text ? column.text(row) : column.value(row);
        const cell = el('td', { class: [column.num ? 'num' : '', column.cls || ''].join(' ').trim() || null,
          title: column.title && value ? column.title(row) : null });
        if (column.key === 'n') cell.append(el('a', { href: fragmentOf(row.n), 'aria-label': 'capture ' + row.n }, String(row.n)));
        else if (column.key === 'taken' && row.taken !== null) cell.append(el('span', { class: value.startsWith('✓') ? 'ok' : 'bad' }, value));
        else if (column.key === 'answer') cell.append(el('div', {}, value));
        else cell.append(orDash(value));
        tr.append(cell);
      }
      fragment.append(tr);
    }
    body.replaceChildren(fragment);
    const filtered = rows.length !== state.rows.length;
    $('shown').textContent = (rows.length === 0 ? 'No capture matches the filters' :
        'Captures ' + (first + 1) + ' to ' + Math.min(rows.length, first + pageRows) + ' of ' + rows.length) +
        (filtered ? ' (' + state.rows.length + ' in all)' : '') + '.';
    const pager = $('pager');
    pager.replaceChildren();
    if (pages > 1) {
      const go = (page) => () => { state.page = page; updateFragment(); drawTable(); };
      const previous = el('button', { type: 'button', disabled: state.page === 0 }, '‹ previous rows');
      const next = el('button', { type: 'button', disabled: state.page === pages - 1 }, 'next rows ›');
      previous.addEventListener('click', go(state.page - 1));
      next.addEventListener('click', go(state.page + 1));
      pager.append(previous, el('span', {}, 'page ' + (state.page + 1) + ' of ' + pages), next);
    }
  }

  // ---- one capture ----
  async function viewOf(n) {
    const chunk = Math.floor((n - 1) / state.head.chunk);
    // The views come after the script in the page: wait until they are read.
    if (document.readyState === 'loading') await new Promise((done) => document.addEventListener('DOMContentLoaded', done, { once: true }));
    if (!state.views.has(chunk)) state.views.set(chunk, await block('zsl-views-' + chunk));
    return state.views.get(chunk)[(n - 1) % state.head.chunk];
  }
  const verdictMark = { accepted: ['✓', 'ok'], refused: ['✗', 'bad'], unknown: ['?', 'unsure'] };
  async function drawCapture() {
    const n = state.capture;
    const row = state.rows[n - 1];
    const view = await viewOf(n);
    if (state.capture !== n) return; // another capture was asked for meanwhile
    $('capture-title').textContent = 'Capture ' + n + ': fwkFrame ' + row.fwk_frame + ' (' + row.kind + ')';
    const body = $('capture-body');
    body.replaceChildren();
    body.append(el('p', { class: 'answer' }, row.answer));
    if (row.unknown) body.append(el('ul', { class: 'unknown' }, ...notes(row).map((note) => el('li', {}, 'Not in the log: ' + note))));
    body.append(el('p', {}, 'From ', el('strong', {}, row.input), row.device ? ', device ' + row.device + (row.build ? ', build ' + row.build : '') : '', row.time ? ', at ' + row.time : '', '.'));
    body.append(el('h3', {}, 'What the selector did'), el('pre', { class: 'explanation' }, state.head.sessions[view.session].concat(view.text).join('\n')));
    if (view.timeline) body.append(el('h3', {}, 'Timeline'), timeline(view.timeline, view.checks));
    body.append(el('h3', {}, 'Checks'));
    if (view.checks.length === 0) body.append(el('p', {}, 'No frame check belongs to this capture.'));
    else {
      body.append(countTable(['frame', 'verdict', 'why'], view.checks.map(([frame, verdict, why]) => [
        frame, el('span', { class: verdictMark[verdict][1] }, verdictMark[verdict][0] + ' ' + (verdict === 'unknown' ? 'verdict unknown' : verdict)), why || dash])));
    }
    body.append(el('h3', {}, "The plug-in's lines"));
    if (view.lines.length === 0) body.append(el('p', {}, 'None.'));
    else {
      const lines = countTable(['file', 'line', 'time', 'level', 'where', 'text'], view.lines.map(([number, time, level, where, text]) =>
        [row.input, number > 0 ? number : dash, time || dash, level, where || dash, text]));
      lines.classList.add('lines');
      lines.querySelectorAll('tbody td:nth-child(6)').forEach((td) => td.classList.add('text'));
      body.append(lines);
    }
    const link = (id, to) => {
      const a = $(id);
      a.hidden = to < 1 || to > state.rows.length;
      a.href = fragmentOf(to);
    };
    link('prev', n - 1);
    link('next', n + 1);
    $('back').href = fragmentOf(null);
  }
  // One row of frames across the page's width: those with a time on the
  // axis; the others, shot before the capture moment at a time the log does
  // not give, in a zone of their own just before it.
  function timeline(t, checks) {
    const verdicts = new Map(checks.map(([frame, verdict]) => [frame, verdict]));
    const selected = new Set(t.selected), taken = new Set(t.taken || []);
    const timed = t.frames.filter(([, ms]) => ms !== null), untimed = t.frames.filter(([, ms]) => ms === null);
    const width = Math.max(480, ($('capture-body').clientWidth || 960) - 8), height = 150;
    const left = 20, gap = 56, zoneWidth = untimed.length ? Math.max(150, 30 + untimed.length * gap) : 0;
    // The capture moment closes the zone when there is one, else it is a time on the axis.
    const momentAfterZone = t.momentKnown && untimed.length > 0;
    const times = timed.map(([, ms]) => ms).concat(t.momentKnown && !momentAfterZone ? [0] : []).concat(t.zsdMs === null ? [] : [t.zsdMs]);
    if (times.length === 0) times.push(-1, 0);
    let low = Math.min(...times), high = Math.max(...times);
    const pad = Math.max(5, (high - low) * 0.06);
    low -= pad; high += pad;
    const axisWidth = width - left - 20 - (untimed.length ? zoneWidth + 20 : 0) - (momentAfterZone ? 30 : 0);
    const x = (ms) => left + ((ms - low) / (high - low)) * axisWidth;
    const zoneX = left + axisWidth + 20;
    const momentX = momentAfterZone ? zoneX + zoneWidth + 20 : t.momentKnown ? x(0) : null;
    const y = 70;
    const svg = svgEl('svg', { width, height, role: 'img', 'aria-label': 'timeline of the frames' });
    svg.append(svgEl('line', { x1: left, x2: momentX === null ? left + axisWidth : Math.max(momentX, left + axisWidth), y1: y, y2: y, stroke: '#aaa' }));
    if (t.zsdMs !== null) {
      const zx = x(t.zsdMs), end = momentX === null ? left + axisWidth : momentX;
      svg.append(svgEl('rect', { x: zx, y: y - 30, width: Math.max(0, end - zx), height: 60, fill: '#e3f4e1' }));
      svg.append(svgEl('line', { x1: zx, x2: zx, y1: 18, y2: y + 30, stroke: '#b71c1c', 'stroke-dasharray': '5,3' }));
      const label = 'zsdTs ' + fmt(t.zsdMs, 1) + ' ms: frames shot later may anchor';
      // Right of the line, else left of it, else from the picture's left edge; 7 px a
      // character leaves room for wider fonts.
      const labelWidth = label.length * 7;
      const [lx, anchor] = zx + 4 + labelWidth < width ? [zx + 4, 'start'] : zx - 4 - labelWidth > 0 ? [zx - 4, 'end'] : [2, 'start'];
      svg.append(svgEl('text', { x: lx, y: 14, 'font-size': 11, fill: '#b71c1c', 'text-anchor': anchor }, label));
    }
    if (momentX !== null) {
      svg.append(svgEl('line', { x1: momentX, x2: momentX, y1: 26, y2: y + 30, stroke: '#333', 'stroke-dasharray': '2,2' }));
      svg.append(svgEl('text', { x: momentX - 3, y: 30, 'font-size': 10, 'text-anchor': 'end', fill: '#4a4a4a' }, 'capture moment'));
    }
    const frame = (number, fx, ms) => {
      const isSelected = selected.has(number), isTaken = taken.has(number);
      const circle = svgEl('circle', { cx: fx, cy: y, r: 8, fill: isSelected ? '#1e88e5' : '#fff', stroke: isTaken ? '#000' : '#555', 'stroke-width': isTaken ? 3 : 1 });
      circle.append(svgEl('title', {}, 'frame ' + number + (ms === null ? ', time not in the log' : ', ' + fmt(ms, 3) + ' ms') + (isSelected ? ', selected' : '') + (isTaken ? ', taken' : '') + (t.anchor === number ? ', anchor' : '')));
      svg.append(circle);
      if (t.anchor === number) svg.append(svgEl('circle', { cx: fx, cy: y, r: 13, fill: 'none', stroke: '#f9a825', 'stroke-width': 3 }));
      svg.append(svgEl('text', { x: fx, y: y - 18, 'font-size': 11, 'text-anchor': 'middle' }, String(number)));
      const words = [t.anchor === number ? 'anchor' : '', isSelected ? 'sel' : '', isTaken ? 'taken' : ''].filter(Boolean);
      words.forEach((word, i) => svg.append(svgEl('text', { x: fx, y: y + 28 + 11 * i, 'font-size': 9, 'text-anchor': 'middle', fill: '#333' }, word)));
      const verdict = verdicts.get(number);
      if (verdict) svg.append(svgEl('text', { x: fx + 11, y: y - 8, 'font-size': 13, fill: verdict === 'accepted' ? '#1b5e20' : verdict === 'refused' ? '#b71c1c' : '#4a4a4a' }, verdictMark[verdict][0]));
    };
    timed.forEach(([number, ms]) => frame(number, x(ms), ms));
    if (untimed.length) {
      svg.append(svgEl('rect', { x: zoneX, y: y - 30, width: zoneWidth, height: 60, fill: 'none', stroke: '#888', 'stroke-dasharray': '4,3' }));
      svg.append(svgEl('text', { x: zoneX + 4, y: y + 64, 'font-size': 11, fill: '#4a4a4a' },
          t.momentKnown ? 'time not in the log' : 'capture moment not in the log'));
      untimed.forEach(([number], i) => frame(number, zoneX + 30 + i * gap, null));
    }
    [low + pad].concat(momentX !== null ? [0] : []).forEach((tick) =>
      svg.append(svgEl('text', { x: tick === 0 ? momentX : x(tick), y: y + 62, 'font-size': 10, 'text-anchor': 'middle', fill: '#4a4a4a' }, fmt(tick, 1) + ' ms')));
    const legend = el('p', { class: 'legend' }, 'Filled: selected; thick ring: taken by the host; yellow ring: anchor; ✓ accepted, ✗ refused, ? verdict not in the log; green: shot after zsdTs.');
    return el('div', {}, el('div', { class: 'table-wrap' }, svg), legend);
  }

  // ---- what is shown ----
  async function show() {
    applyFragment();
    drawFilters();
    const inCapture = state.capture !== null;
    $('summary').hidden = inCapture;
    $('list').hidden = inCapture;
    $('capture').hidden = !inCapture;
    if (inCapture) {
      await drawCapture();
      $('capture-title').focus();
    } else {
      drawTable();
    }
  }

  async function start() {
    try {
      state.head = await block('zsl-head');
      performance.mark('zsl-head-read');
      state.rows = await block('zsl-rows');
      performance.mark('zsl-rows-read');
      state.rows = state.rows.map(expandRow);
      performance.mark('zsl-rows-indexed');
      drawSummary();
      $('f-q').addEventListener('input', () => {
        const q = $('f-q').value;
        if (q === '') delete state.filter.q; else state.filter.q = q;
        state.page = 0;
        updateFragment();
        drawTable();
      });
      $('f-clear').addEventListener('click', () => {
        state.filter = {};
        state.page = 0;
        updateFragment();
        drawFilters();
        drawTable();
      });
      window.addEventListener('hashchange', () => show().catch(fail));
      await show();
      performance.mark('zsl-first-view'); // what scripts/bench-page times
      document.body.dataset.ready = 'true';
    } catch (error) {
      fail(error);
    }
  }
  function fail(error) {
    setStatus('This page could not be shown: ' + error.message, true);
    document.body.dataset.ready = 'error';
  }
  start();
})();
