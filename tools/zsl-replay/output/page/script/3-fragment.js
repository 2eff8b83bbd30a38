//! Part 3 of 7: what is shown, kept in the URL fragment.
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
    const captures = state.head.captures;
    state.capture = capture !== null && capture >= 1 && capture <= state.rows.length ? capture : null;
    if (f.capture !== undefined && state.capture === null) {
      setStatus('No capture ' + f.capture + ' in this page: it holds captures 1 to ' + captures + '.', true);
    } else {
      setStatus(captures + ' capture' + (captures === 1 ? '' : 's') + ', from zsl-replay.');
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

