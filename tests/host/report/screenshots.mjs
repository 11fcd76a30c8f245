// node screenshots.mjs FOLDER: FOLDER/report.png is the picture of the report of the squat at its lowest, and
// FOLDER/report.txt the text that it shows, with the picture's hash.
// node screenshots.mjs --check FOLDER: fails unless the page of this build shows that text, and the hash is the picture's.
import assert from 'node:assert/strict';
import {createHash} from 'node:crypto';
import {readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {drawn, launch, open} from './browser.mjs';
import {Report} from './report.mjs';

const folder = process.argv.at(-1);
const picture = join(folder, 'report.png');
const text = join(folder, 'report.txt');
const withHash = (words) => `${words}\n\nSHA-256 of report.png: ${createHash('sha256').update(readFileSync(picture)).digest('hex')}\n`;

const browser = await launch();
const report = Report.of('squat');
const page = await open(report, browser, {viewport: {width: 1440, height: 900}, colorScheme: 'light'});
await page.locator('#slider').fill('240');
await page.locator('#slider').blur();
await drawn(page);
const words = await page.locator('body').innerText();
if (process.argv.includes('--check')) {
  assert.equal(withHash(words), readFileSync(text, 'utf8'), 'docs/images/report.png is old: run tools/screenshots');
} else {
  await page.screenshot({path: picture});
  writeFileSync(text, withHash(words));
}
await browser.close();
