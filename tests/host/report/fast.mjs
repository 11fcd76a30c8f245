// A browser, and a weight shift in which the robot falls.
import assert from 'node:assert/strict';
import {readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import {drawn, launch, open} from './browser.mjs';
import {motions, Report} from './report.mjs';

export let browser;
export let fast;
export const feet = ['LAnkleRoll', 'RAnkleRoll'];
before(async () => {
  browser = await launch();
  const [header, ...rows] = readFileSync(join(motions, 'weight_shift.csv'), 'utf8').trim().split('\n');
  const faster = rows.map((row) => row.replace(/^[^,]*/, (time) => (0.2 * time).toFixed(4)));
  const wave = Report.ofMotion(join(motions, 'wave.csv'));
  const motion = join(wave.folder, 'fast.csv');
  writeFileSync(motion, [header, ...faster, ''].join('\n'));
  fast = Report.onGround(motion);
  wave.remove();
});
after(async () => {
  await browser.close();
  fast.remove();
});

export const onPage = (name, options, body, report = () => fast) => test(name, async (t) => {
  const page = await open(report(), browser, options);
  t.after(() => page.context().close());
  await body(page, report().columns);
  assert.deepEqual(page.faults, []);
});
export const show = async (page, sample) => {
  await page.locator('#slider').fill(String(sample));
  await drawn(page);
};
export const at = (columns, names, sample) => names.map((name) => columns[name][sample]);
export const near = (a, b, tolerance, what) => {
  assert.equal(a.length, b.length, what);
  a.forEach((v, i) => assert.ok(Math.abs(v - b[i]) < tolerance, `${what}: ${a} is not ${b}`));
};
