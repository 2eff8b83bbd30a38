//! Part 4 of 7: the summary above the table.
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

