// node screenshots.mjs FOLDER: pictures of the report of the squat, at its lowest.
import {join} from 'node:path';
import {drawn, launch, motions, Report} from './browser.mjs';

const [folder] = process.argv.slice(2);
const pictures = {
  'report': {viewport: {width: 1440, height: 900}, colorScheme: 'light'},
  'report-dark': {viewport: {width: 1440, height: 900}, colorScheme: 'dark'},
  'report-phone': {viewport: {width: 360, height: 780}, deviceScaleFactor: 2, colorScheme: 'light'},
};

const browser = await launch();
const report = Report.onGround(join(motions, 'squat.csv'));
for (const [name, options] of Object.entries(pictures)) {
  const page = await report.open(browser, options);
  await page.locator('#slider').fill('240');
  await page.locator('#slider').blur();
  await drawn(page);
  await page.screenshot({path: join(folder, `${name}.png`)});
}
await browser.close();
report.remove();
