// The tests of the page share the page of the wave, and these views of it.
import assert from 'node:assert/strict';
import * as pages from './pages.mjs';
import {Report} from './report.mjs';

export {browser, show as setSlider} from './pages.mjs';
export const wave = Report.inAir('wave');
export const onPage = pages.onPageOf(wave);

export const joints = () => Object.keys(wave.columns).filter((name) => name.endsWith('_torque')).map((name) => name.slice(0, -7));
export const last = () => wave.columns.time.length - 1;
export const sliderAt = async (page) => Number(await page.locator('#slider').inputValue());
// Points of the figure, in single precision.
export const near = (a, b, what) => pages.near(a, b, 1e-5, what);
// Takes a picture of the scene alone, without the letters over it.
export const picture = (page) => page.locator('.stage canvas').screenshot({style: '.letter { visibility: hidden }'});
export async function plot(page, limb) {
  const over = page.locator('.panel', {hasText: limb}).locator('.u-over');
  await over.scrollIntoViewIfNeeded();
  return over.boundingBox();
}

// The sample nearest to where x is in a plot.
export function sampleAt({x, width}, at) {
  const {time} = wave.columns;
  const t = time[0] + ((at - x) / width) * (time[last()] - time[0]);
  return pages.nearest(time, t);
}

// Curves and numbers show `sample`, the slider and the clock are at `here`.
export async function expectTime(page, sample, here = sample) {
  const {time} = wave.columns;
  assert.equal(await sliderAt(page), here);
  assert.equal(await page.locator('#clock').textContent(), `${time[here].toFixed(3)} / ${time[last()].toFixed(3)} s`);
  const names = [...joints().map((joint) => `${joint}_torque`), 'com_x', 'com_y', 'com_z'];
  const shown = await page.locator('[data-curve]').evaluateAll((all) => all.map((e) => [e.dataset.curve, e.textContent]));
  assert.deepEqual(Object.fromEntries(shown), Object.fromEntries(names.map((name) => [name, wave.columns[name][sample].toFixed(4)])));
  const share = (time[sample] - time[0]) / (time[last()] - time[0]);
  const errors = await page.locator('.u-over').evaluateAll((all, share) => all.map((over) => {
    const [{x, width}, cursor] = [over, over.querySelector('.cursor')].map((e) => e.getBoundingClientRect());
    return Math.abs(cursor.x + cursor.width / 2 - (x + share * width));
  }), share);
  assert.ok(errors.length >= 8 && errors.every((error) => error < 1.5), `${errors}`);
}
