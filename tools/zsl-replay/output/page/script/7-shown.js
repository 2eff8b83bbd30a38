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

  // A page of many captures holds its first rows before the script and the
  // others after it: those are read once the page is parsed.
  async function readOtherRows() {
    if (wholeRows()) return;
    if (document.readyState === 'loading') await new Promise((done) => document.addEventListener('DOMContentLoaded', done, { once: true }));
    const offset = state.rows.length;
    (await block('zsl-rows-rest')).forEach((a, i) => state.rows.push(expandRow(a, offset + i)));
  }

  async function start() {
    try {
      state.head = await block('zsl-head');
      performance.mark('zsl-head-read');
      state.rows = (await block('zsl-rows')).map(expandRow);
      performance.mark('zsl-rows-read');
      // Anything but the first rows in the input's order needs them all.
      if (Object.values(readFragment()).some((value) => value !== '')) await readOtherRows();
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
      if (!wholeRows()) {
        await readOtherRows();
        if (state.capture === null) {
          drawFilters();
          drawTable();
        }
      }
      performance.mark('zsl-rows-whole');
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
