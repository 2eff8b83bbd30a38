// A measurement, not a test: how long each page given takes to show its
// first view (from navigation to the summary and the table's first rows
// drawn, the page's own mark), to read every row (the filters and sorting
// work from then on) and to load whole (every view's data parsed), in
// Debian's headless Chromium, the median of RUNS fresh tabs each.
//   node tests/page/first-view.mjs RUNS PAGE.html...
// Prints a line per page: the file, then the three medians in ms.
import puppeteer from 'puppeteer-core';

const [runs, ...pages] = process.argv.slice(2);
const browser = await puppeteer.launch({
  executablePath: process.env.ZSL_CHROMIUM || '/usr/bin/chromium',
  headless: true,
  args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync'],
});
try {
  for (const file of pages) {
    const times = { firstView: [], whole: [], load: [] };
    for (let i = 0; i < Number(runs); ++i) {
      const page = await browser.newPage();
      await page.goto('file://' + file);
      await page.waitForSelector('body[data-ready="true"] #captures tbody tr');
      const marks = await page.evaluate(() => ({
        firstView: performance.getEntriesByName('zsl-first-view')[0].startTime,
        whole: performance.getEntriesByName('zsl-rows-whole')[0].startTime,
        load: performance.getEntriesByType('navigation')[0].loadEventEnd,
      }));
      for (const key of Object.keys(times)) times[key].push(marks[key]);
      await page.close();
    }
    const median = (list) => list.sort((a, b) => a - b)[Math.floor(list.length / 2)].toFixed(1);
    console.log([file, median(times.firstView), median(times.whole), median(times.load)].join(' '));
  }
} finally {
  await browser.close();
}
