//! Part 5 of 7: the capture table, sorted, filtered and paged.
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
      el('button', { type: 'button', title: 'sort by ' + column.label, disabled: !wholeRows() }, column.label));
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
    // Filters wait for every row.
    for (const control of $('filters').elements) control.disabled = !wholeRows();
  }
  function drawTable() {
    drawHead();
    // Until every row is read, only the first page in the input's order is shown.
    if (!wholeRows() && (Object.keys(state.filter).length > 0 || state.sort || state.page > 0)) {
      document.querySelector('#captures tbody').replaceChildren();
      $('shown').textContent = 'Reading the other captures of ' + state.head.captures + ' to filter, sort or page them.';
      $('pager').replaceChildren();
      return;
    }
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
    if (!wholeRows()) {
      $('shown').textContent = 'Captures 1 to ' + rows.length + ' of ' + state.head.captures + '; the others are being read.';
      $('pager').replaceChildren();
      return;
    }
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

