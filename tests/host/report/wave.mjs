// The tests of the page share the page of the wave, and these views of it.
import assert from 'node:assert/strict';
import * as pages from './pages.mjs';
import {Report} from './report.mjs';

export {browser, show as setSlider} from './pages.mjs';
export const wave = Report.inAir('wave');
export const onPage = pages.onPageOf(wave);

export const joints = () => Object.keys(wave.columns).filter((name) => name.endsWith('_torque')).map((name) => name.slice(0, -7));
export const torque = (joint, sample) => wave.columns[`${joint}_torque`][sample].toFixed(4);
export const last = () => wave.columns.time.length - 1;
export const sliderAt = async (page) => Number(await page.locator('#slider').inputValue());
export const valueOf = (page, joint) => page.locator(`.entry[data-joint=${joint}] .value`).textContent();
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
  const distances = time.map((one) => Math.abs(one - t));
  return distances.indexOf(Math.min(...distances));
}

// Curves and numbers show `sample`, the slider and the clock are at `here`.
export async function expectTime(page, sample, here = sample) {
  const {time} = wave.columns;
  assert.equal(await sliderAt(page), here);
  assert.equal(await page.locator('#clock').textContent(), `${time[here].toFixed(3)} / ${time[last()].toFixed(3)} s`);
  for (const joint of joints()) assert.equal(await valueOf(page, joint), torque(joint, sample), joint);
  for (const axis of ['x', 'y', 'z']) {
    const value = await page.locator(`[data-curve=com_${axis}]`).textContent();
    assert.equal(value, wave.columns[`com_${axis}`][sample].toFixed(4));
  }
  const share = (time[sample] - time[0]) / (time[last()] - time[0]);
  const overs = await page.locator('.u-over').all();
  assert.equal(overs.length, await page.evaluate(() => korvel.charts.length));
  assert.ok(overs.length >= 8);
  for (const over of overs) {
    const {x, width} = await over.boundingBox();
    const cursor = await over.locator('.cursor').boundingBox();
    assert.ok(Math.abs(cursor.x + cursor.width / 2 - (x + share * width)) < 1.5);
  }
}
