// The page without what it is used to, and of results that are out of the ordinary.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {test} from 'node:test';
import {drawn, launch, no_webgl, open} from './browser.mjs';
import {expectWidth, onPageOf} from './pages.mjs';
import {Report, write} from './report.mjs';
import {browser, expectTime, last, setSlider, wave} from './wave.mjs';

test('without WebGL a message stands for the figure and the curves work', async (t) => {
  const poor = await launch(no_webgl);
  t.after(() => poor.close());
  const page = await open(wave, poor);
  assert.match(await page.locator('.stage').innerText(), /needs WebGL 2/);
  await setSlider(page, 200);
  await expectTime(page, 200);
  assert.deepEqual(page.faults, []);
});

// A test on the page of results other than those of the wave.
const onResults = (name, change, body) => onPageOf(Report.inAir('wave', {change}))(name, {}, body);

// The wave on a cart that goes along x, in m/s.
const onCart = (speed) => {
  let x = 0;
  return (name, value) => {
    if (name === 'time') x = speed * value;
    return name.endsWith('_x') ? value + x : value;
  };
};
onResults('a motion over 100 m has a ground of few lines', onCart(20), async (page, {columns}) => {
  assert.ok(columns.com_x[last()] > 100);
  const lines = await page.evaluate(() => korvel.figure.ground.geometry.attributes.position.count / 2);
  assert.ok(lines > 10 && lines < 220, `${lines}`);
});

onResults('values near the end of single precision', (name, value) => name === 'time' ? value : value * 1e37, async (page) => {
  assert.match(await page.locator('.stage').innerText(), /within 1000 km/);
  await page.setViewportSize({width: 360, height: 740});
  await drawn(page);
  await expectWidth(page, 360);
});

onResults('the figure follows a walk', onCart(1), async (page) => {
  const follow = page.getByLabel('Follow');
  assert.ok(await follow.isChecked());
  const letters = () => page.locator('.letter').evaluateAll((all) => all.map((e) => e.getBoundingClientRect()).map(({x, y}) => [x, y]));
  const wide = async () => {
    const [[ax, ay], [bx, by]] = await letters();
    return Math.hypot(ax - bx, ay - by);
  };
  await setSlider(page, 0);
  const first = await letters();
  const followed = await wide();
  await setSlider(page, last());
  (await letters()).flat().forEach((v, i) => assert.ok(Math.abs(v - first.flat()[i]) < 3, `${v}`));
  await follow.uncheck();
  await drawn(page);
  assert.ok(await wide() < followed / 3);
  const far = await letters();
  await setSlider(page, 0);
  assert.ok(Math.abs((await letters())[0][0] - far[0][0]) > 100);
});

// The texts of an axis, in each chart that has it: the place and the width of each, the chart's width, and the space.
const textsOf = (page, axis) => page.evaluate((axis) => korvel.charts.filter(({plot}) => plot.axes[axis].show).map(({plot}) => {
  const {_values, _splits, _size, gap, font, scale} = plot.axes[axis];
  plot.ctx.font = font[0];
  const texts = _values.map((text, i) => ({
    text,
    middle: plot.bbox.left / devicePixelRatio + plot.valToPos(_splits[i], scale),
    width: plot.ctx.measureText(text).width / devicePixelRatio,
  }));
  return {size: plot.width, space: _size - gap, texts};
}), axis);
const expectDifferent = (texts) => {
  assert.ok(texts.length > 1);
  assert.equal(new Set(texts.map(({text}) => text)).size, texts.length);
};

onResults('torques of 1e11 fit', (name, value) => name.endsWith('_torque') ? value * -1.2345e11 : value, async (page) => {
  await page.setViewportSize({width: 360, height: 740});
  await page.locator('#same-scale').uncheck();
  await drawn(page);
  await expectWidth(page, 360);
  const cut = await page.locator('.entry, .caption, #peaks-body td').evaluateAll(
      (all) => all.filter((e) => e.scrollWidth > e.clientWidth).map((e) => e.textContent));
  assert.deepEqual(cut, []);
  for (const {texts, space} of await textsOf(page, 1)) {
    expectDifferent(texts);
    for (const {text, width} of texts) assert.ok(width <= space, text);
  }
});

const is_gap = (now) => now === 0 || (now > 2 && now < 2.5);
const call = 'setRootPose, call 7 of object 1';
let now;
const interrupted = (name, value) => {
  if (name === 'time') now = value;
  return name === 'time' || name.startsWith('R') || !is_gap(now) ? value : 'nan';
};
const gaps = [{from: 0, to: 0, call: 'create'}, {from: 2.01, to: 2.49, call}];
const onGaps = onPageOf(Report.inAir('wave', {change: interrupted, described: {gaps}}));
onGaps('gaps interrupt the curves, have a mark, and name the call', {}, async (page, report) => {
  await page.locator('#gaps li', {hasText: call}).getByRole('button', {name: '2.010 – 2.490 s'}).click();
  await drawn(page);
  assert.equal(await page.locator('.entry[data-joint=LKneePitch] .value').textContent(), 'NaN');
  assert.notEqual(await page.locator('.entry[data-joint=RKneePitch] .value').textContent(), 'NaN');
  const {times, curve, peaks} = await page.evaluate(() => ({
    times: [...korvel.motion.time],
    curve: korvel.charts.find(({curves}) => curves.some(({name}) => name === 'LKneePitch_torque')).plot.data.at(-1),
    peaks: korvel.motion.joints.map(({name, peak}) => [name, peak]),
  }));
  times.forEach((now, i) => assert.equal(curve[i] === null, is_gap(now), `${now}`));
  for (const [name, peak] of peaks) {
    const finite = report.columns[`${name}_torque`].filter((value) => !Number.isNaN(value)).map(Math.abs);
    assert.equal(peak, Math.max(...finite), name);
  }
  // The figure is there again behind the gap.
  await setSlider(page, last());
  const left = await page.locator('.letter.left').first().evaluate((e) => e.style.transform);
  assert.match(left, /^translate\(\d/);
});

const force = (sample) => sample % 2 ? [0, 0, 0] : [3, -4, 12 + sample / 100];
const [header, ...rows] = wave.results.trim().split('\n');
const names = ['x', 'y', 'z'].map((axis) => `LWristYaw_applied_force_${axis}`);
const results = [[header, ...names], ...rows.map((row, sample) => [row, ...force(sample)])].join('\n');
const onPushed = onPageOf(new Report('pushed.csv', {...wave, results}));
onPushed('forces that the program set are arrows from the bodies', {}, async (page) => {
  assert.ok(await page.getByText('force set by the program').isVisible());
  const weight = JSON.parse(wave.side).weight;
  for (const sample of [0, 101, 300]) {
    await page.evaluate((to) => korvel.timeline.sample.value = to, sample);
    await drawn(page);
    const {visible, tip, arrows} = await page.evaluate(() => {
      const {arrow: {tip}} = korvel.figure.applied.forces[0];
      return {visible: tip.visible, tip: tip.position.toArray(), arrows: korvel.figure.applied.forces.length};
    });
    assert.equal(arrows, 1);
    assert.equal(visible, sample % 2 === 0);
    const end = wave.point('LWristYaw', sample).map((place, axis) => place + 0.25 * force(sample)[axis] / weight);
    if (visible) tip.forEach((place, axis) => assert.ok(Math.abs(place - end[axis]) < 1e-4, `${tip} for ${end}`));
  }
});

// The root stays at the origin, so that z = 0 is above the feet.
const onOne = onPageOf(Report.inAir(write('one.csv', ['time', '2.5'])));
onOne('one sample, and no ground at z = 0', {}, async (page, report) => {
  const lowest = Math.min(...Object.keys(report.columns).filter((n) => n.endsWith('_z')).map((n) => report.columns[n][0]));
  assert.match(await page.locator('#ground').innerText(), new RegExp(`lowest point of the motion, z = ${lowest.toFixed(3)} m`));
  assert.equal(await page.locator('#clock').textContent(), '2.500 / 2.500 s');
  assert.ok(await page.locator('#play').isDisabled());
});

for (const [length, change] of Object.entries({
  '12 s': (time) => time * 12 / 7,
  '12.5 s from 2000 s': (time) => 2000 + time * 12.5 / 7,
  '3 ms': (time) => time * 0.003 / 7,
  '3 h from a clock\'s time': (time) => 1760000000.5 + time * 1543,
})) {
  onResults(`times are readable, over ${length}`, (name, value) => name === 'time' ? change(value) : value, async (page) => {
    for (const width of [360, 1000, 1440]) {
      await page.setViewportSize({width, height: 740});
      await drawn(page);
      const charts = await textsOf(page, 0);
      assert.equal(charts.length, 10, 'of five limbs, of four quantities of a joint, and of the centre of mass');
      for (const {texts, size} of charts) {
        expectDifferent(texts);
        const ends = texts.map(({middle, width}) => [middle - width / 2, middle + width / 2]);
        ends.forEach(([left, right], i) => {
          const {text} = texts[i];
          assert.ok(left >= 0 && right <= size, `${text} is cut at ${width} px`);
          assert.ok(text.length < 12, text);
          assert.ok(i === 0 || left > ends[i - 1][1] + 3, `${text} overlaps at ${width} px`);
        });
      }
    }
  });
}

onResults('times of a clock are counted from the first', (name, value) => name === 'time' ? value + 1760000000.5 : value, async (page) => {
  assert.match(await page.locator('.facts').innerText(), /Times from\s+1760000000\.5 s/);
  await setSlider(page, last());
  assert.equal(await page.locator('#clock').textContent(), '7.000 / 7.000 s');
  const at = await page.locator('#peaks-body td:last-child').allTextContents();
  assert.ok(at.every((time) => Number(time) <= 7), `${at}`);
});

const onOdd = onPageOf(new Report('a\u2067\nb\u001b[1m.csv', wave));
onOdd('a name cannot turn or break the text around it', {}, async (page) => {
  const shown = 'a⟨U+2067⟩⟨U+000A⟩b⟨U+001B⟩[1m.csv';
  assert.equal(await page.locator('h1').textContent(), shown);
  assert.equal(await page.title(), `${shown} – motion report`);
});

test('where the data cannot be read the page says so', async (t) => {
  const page = await open(wave, browser, {}, () => delete globalThis.DecompressionStream);
  t.after(() => page.context().close());
  assert.match(await page.locator('#failure').innerText(), /cannot be shown.*It needs a browser of 2024 or later/);
});

test('the page carries the licences of what is in it, and names no address to load from', () => {
  const page = readFileSync(wave.page, 'utf8');
  assert.equal(page.split('Permission is hereby granted, free of charge').length - 1, 2);
  assert.match(page, /Copyright © 20\d\d-20\d\d three\.js authors/);
  assert.match(page, /Copyright \(c\) 20\d\d Leon Sorokin/);
  assert.doesNotMatch(page, /<(link|script|img|iframe)[^>]*(src|href)="(?!data:)/);
});
