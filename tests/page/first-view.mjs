// A measurement, not a test: how long each page given takes to show its
// first view (navigation to the summary and the table's first rows drawn)
// in Debian's headless Chromium, the median of RUNS fresh tabs.
//   node tests/page/first-view.mjs RUNS PAGE.html...
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
    const times = [];
    for (let i = 0; i < Number(runs); ++i) {
      const page = await browser.newPage();
      const start = performance.now();
      await page.goto('file://' + file);
      await page.waitForSelector('body[data-ready="true"] #captures tbody tr');
      times.push(performance.now() - start);
      await page.close();
    }
    times.sort((a, b) => a - b);
    console.log(file + ' ' + times[Math.floor(times.length / 2)].toFixed(1));
  }
} finally {
  await browser.close();
}
