//! The page's script, part 1 of 7 (the parts are joined in order by the
//! build, inside one function): the helpers, the state and a row decoded.
'use strict';
// The page's script: reads the data blocks, draws the summary, the capture
// table and a capture's view, and keeps what is shown in the URL fragment.
// Every text from the data is set with textContent: a log's text is shown,
// never parsed as markup.
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
  // Whether every row is read (a page of many captures reads its first rows first).
  const wholeRows = () => state.rows.length === state.head.captures;

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

