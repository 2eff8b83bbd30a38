//! Part 7 of 7: what is shown, drawn again on every change; the start.
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
