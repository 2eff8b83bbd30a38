//! Part 2 of 7: what a row shows, column by column.
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

