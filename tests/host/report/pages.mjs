// What the tests of pages share: a browser, and tests on an open page.
import assert from 'node:assert/strict';
import {after, test} from 'node:test';
import {drawn, launch, open} from './browser.mjs';

export const browser = await launch();
after(() => browser.close());

// A test on the page of a report, which must not have asked for anything or reported an error.
export const onPageOf = (report) => (name, options, body) => test(name, async (t) => {
  const page = await open(report, browser, options);
  t.after(() => page.context().close());
  await body(page, report);
  assert.deepEqual(page.faults, []);
});
export const show = async (page, sample) => {
  await page.locator('#slider').fill(String(sample));
  await drawn(page);
};
export const near = (a, b, tolerance, what) => {
  assert.equal(a.length, b.length, what);
  a.forEach((v, i) => assert.ok(Math.abs(v - b[i]) < tolerance, `${what}: ${a} is not ${b}`));
};
export const expectWidth = async (page, width) =>
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
export const nearest = (times, t) => times.reduce((best, one, i) => Math.abs(one - t) < Math.abs(times[best] - t) ? i : best, 0);
