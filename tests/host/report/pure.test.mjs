// Tests what the page computes from its data, without a browser.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {timeIn} from '../../../host/report/src/link.js';
import {reading} from '../../../host/report/src/curves/reading.js';
import {View} from '../../../host/report/src/curves/view.js';
import {findLimbs} from '../../../host/report/src/data/limbs.js';
import {nearestSample, sampleBefore, single, spansOf, text, three, tickTexts} from '../../../host/report/src/data/numbers.js';
import {Timeline} from '../../../host/report/src/timeline.js';
import {verdictText} from '../../../host/report/src/verdict.js';

test('the verdict of a run has the worst reason, or the margin', () => {
  const say = (summary) => verdictText({ground: {summary}});
  const margins = {zmp_inside: {value: 0.02406, time: 1}};
  const span = (value, text, more = {}) => ({text, missing: {value, time: 0.5}, ...more});
  assert.equal(say({cannot_stand: [], in_flight: null, margins}), 'stays on its feet, 24.1 mm of margin');
  assert.equal(say({cannot_stand: [], in_flight: {}, margins}), 'stays on its feet in all other samples, 24.1 mm of margin');
  assert.equal(say({cannot_stand: [], in_flight: {}, margins: {zmp_inside: null}}), 'is in flight throughout');
  const tips = span(0.5, 'tips to the left by 145 mm', {excess: {value: 0.145, time: 0.6}});
  assert.equal(say({cannot_stand: [span(0.2, 'slips'), tips], margins}), 'tips to the left by 145 mm at 0.600\u00a0s, 2 intervals');
  assert.equal(say({cannot_stand: [span(0.2, 'slips')], margins}), 'slips at 0.500\u00a0s, 1 interval');
  assert.equal(verdictText({}), 'is held in the air, no ground contact');
});

test('samples before and nearest to a time', () => {
  const times = [1, 2, 4, 8];
  const cases = [[-1, 0, 0], [1, 0, 0], [1.4, 0, 0], [1.6, 0, 1], [3.1, 1, 2], [7.9, 2, 3], [8, 3, 3], [99, 3, 3]];
  for (const [time, before, nearest] of cases) {
    assert.deepEqual([sampleBefore(times, time), nearestSample(times, time)], [before, nearest], `${time}`);
  }
});

test('a time line covers two runs, a shift moves the second', () => {
  const [a, b] = [{time: Float64Array.from([0, 1, 2])}, {time: Float64Array.from([0.5, 1.5, 2.5, 3.5])}];
  const timeline = new Timeline([a, b]);
  assert.deepEqual([...timeline.time], [0, 1, 2, 2.5, 3.5]);
  timeline.goToTime(3.4);
  assert.deepEqual([timeline.now, timeline.nearest(a), timeline.within(a), timeline.nearest(b), timeline.within(b)], [3.5, 2, undefined, 3, 3]);
  timeline.goTo(0);
  assert.deepEqual([timeline.within(a), timeline.nearest(b), timeline.within(b)], [0, 0, undefined]);
  timeline.goTo(1);
  timeline.shift.value = -2;
  assert.deepEqual([[...timeline.time], timeline.now, timeline.nearest(b)], [[-1.5, -0.5, 0, 1, 2], 1, 2]);
  timeline.goToTime(0.5, b);
  assert.equal(timeline.now, -1.5);
});

test('a zoom stays within all of the times, which a shift of a second run makes others', () => {
  const timeline = new Timeline([{time: Float64Array.from({length: 101}, (_, i) => i / 10)}, {time: [0, 5]}]);
  const view = new View(timeline);
  assert.deepEqual(view.span.value, [0, 10]);
  timeline.shift.value = 7;
  assert.deepEqual([view.span.value, view.zoomed], [[0, 12], false]);
  view.zoom(3, 3.1);
  assert.ok(view.zoomed && Math.abs(view.span.value[1] - view.span.value[0] - 0.4) < 1e-9);
  timeline.shift.value = -3;
  assert.ok(view.zoomed);
  view.zoom(-9, 2);
  assert.deepEqual(view.span.value, [-3, 2]);
  view.reset();
  assert.deepEqual(view.span.value, [-3, 10]);
  assert.deepEqual(new View(new Timeline([{time: [2.5]}])).span.value, [2, 3]);
});

test('a reading has the value, its change since the second cursor, and the second run where it has one', () => {
  const runs = [{time: [0, 1, 2]}, {time: [0, 1, 2, 3]}];
  const timeline = new Timeline(runs);
  const view = new View(timeline);
  const read = () => reading({values: [1, 2, 4], other: {values: [7, 8, 9, 9.5]}}, {motion: {runs}, timeline, view});
  assert.equal(read(), '1.0000 B 7.0000');
  timeline.goTo(2);
  view.toggleMark(1);
  assert.equal(read(), '4.0000 Δ +2.0000 B 9.0000');
  timeline.goTo(3);
  assert.equal(read(), '– B 9.5000');
  timeline.shift.value = -1.1;
  timeline.goTo(timeline.last);
  assert.equal(read(), '4.0000 Δ +2.0000 B –');
});

test('the address of the page may have a time', () => {
  assert.deepEqual(['#t=0.6', '#t=-2', '#t=0', '', '#t=', '#t=a', '#t=1.2.3'].map(timeIn), [0.6, -2, 0, ...Array(4).fill(undefined)]);
});

test('numbers as text do not grow long, ticks differ', () => {
  assert.deepEqual([text(-0.12345), text(123456), text(3, 1), three(145.3), three(1234)], ['-0.1235', '1.2346e5', '3.0', '145', '1230']);
  assert.deepEqual(tickTexts([0, 0.02, 0.04]), ['0.00', '0.02', '0.04']);
  assert.deepEqual(tickTexts([-2e11, 0, 2e11]), ['-2e11', '0', '2e11']);
  assert.deepEqual(tickTexts([1e6, 1.00001e6]), ['1.00000e6', '1.00001e6']);
  for (const value of [0.1, 1 / 3, 1e-45, 3.4e38]) assert.equal(Math.fround(single(Math.fround(value))), Math.fround(value));
  assert.equal(single(Math.fround(0.1)), '0.1');
});

test('spans are of samples one after the other', () => {
  assert.deepEqual(spansOf([0, 1, 1, 0, 1], 1), [{first: 1, last: 2}, {first: 4, last: 4}]);
});

test('limbs are those of the tree, from the top down and left before right', () => {
  const body = (parent, ...rest) => ({parent, rest});
  const bodies = [body(-1, 0, 0, 0), body(0, 0, -0.1, -0.1), body(1, 0, -0.1, -0.3), body(0, 0, 0.1, -0.1), body(0, 0, 0, 0.2)];
  const limbs = findLimbs(bodies, [1, 2, 3, 4].map((body) => ({body}))).map(({name, side, joints}) => [name, side, joints]);
  assert.deepEqual(limbs, [['Head', 'middle', [3]], ['Left leg', 'left', [2]], ['Right leg', 'right', [0, 1]]]);
});
