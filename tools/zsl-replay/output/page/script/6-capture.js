//! Part 6 of 7: one capture's view.
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
        [row.input, number > 0 ? number : dash, time || dash, level, (typeof where === 'number' ? state.head.texts[where] : where) || dash, text]));
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

