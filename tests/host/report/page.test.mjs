import assert from 'node:assert/strict';
import {readFileSync, statSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import {drawn, launch, motions, no_webgl, Report} from './browser.mjs';
import {faint} from './contrast.mjs';

let browser;
let wave;
before(async () => {
  browser = await launch();
  wave = Report.ofMotion(join(motions, 'wave.csv'));
});
after(async () => {
  await browser.close();
  wave.remove();
});

// A test on an open page, which must not have asked for anything or reported an error.
const onPage = (name, options, body) => test(name, async (t) => {
  const page = await wave.open(browser, options);
  t.after(() => page.context().close());
  await body(page);
  assert.deepEqual(page.faults, []);
});

const joints = () => Object.keys(wave.columns).filter((name) => name.endsWith('_torque')).map((name) => name.slice(0, -7));
const torque = (joint, sample) => wave.columns[`${joint}_torque`][sample].toFixed(4);
const last = () => wave.columns.time.length - 1;
const sliderAt = async (page) => Number(await page.locator('#slider').inputValue());
const setSlider = async (page, sample) => {
  await page.locator('#slider').fill(String(sample));
  await drawn(page);
};
const valueOf = (page, joint) => page.locator(`.entry[data-joint=${joint}] .value`).textContent();
// Points of the figure, which are rounded to 15 micrometres.
const near = (a, b, what) => a.forEach((v, i) => assert.ok(Math.abs(v - b[i]) < 1e-5, `${what}: ${a} is not ${b}`));
// Of the scene alone, without the letters over it.
const picture = (page) => page.locator('.stage canvas').screenshot({style: '.letter { visibility: hidden }'});
const plot = (page, limb) => page.locator('.panel', {hasText: limb}).locator('.u-over').boundingBox();

// The sample nearest to where x is in a plot.
function sampleAt({x, width}, at) {
  const {time} = wave.columns;
  const t = time[0] + ((at - x) / width) * (time[last()] - time[0]);
  const distances = time.map((one) => Math.abs(one - t));
  return distances.indexOf(Math.min(...distances));
}

// Curves and numbers show `sample`, the slider and the clock are at `here`.
async function expectTime(page, sample, here = sample) {
  const {time} = wave.columns;
  assert.equal(await sliderAt(page), here);
  assert.equal(await page.locator('#clock').textContent(), `${time[here].toFixed(3)} / ${time[last()].toFixed(3)} s`);
  for (const joint of joints()) assert.equal(await valueOf(page, joint), torque(joint, sample), joint);
  for (const axis of ['x', 'y', 'z']) {
    const value = await page.locator(`[data-com=${axis}]`).textContent();
    assert.equal(value, wave.columns[`com_${axis}`][sample].toFixed(4));
  }
  const share = (time[sample] - time[0]) / (time[last()] - time[0]);
  const overs = await page.locator('.u-over').all();
  assert.equal(overs.length, 8);
  for (const over of overs) {
    const {x, width} = await over.boundingBox();
    const cursor = await over.locator('.cursor').boundingBox();
    assert.ok(Math.abs(cursor.x + cursor.width / 2 - (x + share * width)) < 1.5);
  }
}

onPage('the header says what was run; nothing moves where motion is not wanted', {}, async (page) => {
  await page.waitForTimeout(200);
  assert.equal(await sliderAt(page), 0);
  const facts = await page.locator('header').innerText();
  const mass = await page.evaluate(() => korvel.motion.mass);
  assert.match(facts, /^wave-results\.csv\s/);
  for (const fact of [`Samples\n${last() + 1}`, `Duration\n${wave.columns.time[last()].toFixed(3)} s`, `Total mass\n${mass.toFixed(3)} kg`]) {
    assert.ok(facts.includes(fact), `${fact} in ${facts}`);
  }
});

onPage('the slider moves figure, curves and numbers to the numbers of the file', {}, async (page) => {
  const pictures = new Map();
  const bodies = Object.keys(wave.columns).filter((n) => n.endsWith('_com_x')).map((n) => n.slice(0, -6));
  assert.equal(bodies.length, 25);
  for (const sample of [last(), 0, 137, 300]) {
    await setSlider(page, sample);
    await expectTime(page, sample);
    const spheres = await page.evaluate(() => korvel.figure.robot.spheres());
    bodies.forEach((body, b) => near(spheres[b], wave.point(`${body}_com`, sample), body));
    pictures.set(sample, await picture(page));
  }
  await setSlider(page, 137);
  assert.ok(pictures.get(137).equals(await picture(page)));
  const [caption, canvas] = await Promise.all(
      ['.caption', '.stage canvas'].map((part) => page.locator(part).boundingBox()));
  assert.ok(caption.y + caption.height <= canvas.y, 'the figure strikes the caption through');
  assert.ok(!pictures.get(137).equals(pictures.get(300)));
});

onPage('rods join the bodies, a ball and a ring are at the centre of mass and under it', {}, async (page) => {
  assert.match(await page.locator('#ground').innerText(), /z = 0 of the world/);
  const bodies = await page.evaluate(() => korvel.motion.bodies.map(({name, parent}) => ({name, parent})));
  for (const sample of [0, 137, 300]) {
    await setSlider(page, sample);
    const {rods, com} = await page.evaluate(
        () => ({rods: korvel.figure.robot.rods(), com: korvel.figure.robot.centreOfMass()}));
    const [x, y, z] = wave.point('com', sample);
    near(com.ball, [x, y, z], 'ball');
    near(com.ring, [x, y, 0], 'ring');
    near(com.drop.flat(), [x, y, 0, x, y, z], 'line between them');
    let drawn_rods = 0;
    bodies.forEach(({name}, b) => {
      const origin = wave.point(name, sample);
      const to = [
        wave.point(`${name}_com`, sample),
        ...bodies.filter(({parent}) => parent === b).map((child) => wave.point(child.name, sample)),
      ];
      assert.equal(rods[b].length, to.length);
      to.forEach((end, i) => {
        const long = Math.hypot(...end.map((v, k) => v - origin[k])) > 1e-3;
        if (long || rods[b][i]) near(rods[b][i].flat(), [...origin, ...end], name);
        if (long) ++drawn_rods;
      });
    });
    assert.ok(drawn_rods > 30);
  }
});

// Seen from the front the robot's left is on the right; the letters stand at the ends of the limbs.
onPage('the figure stands upright, left and right are told', {}, async (page) => {
  const places = async (view) => {
    await page.locator('#views').getByRole('button', {name: view}).click();
    await drawn(page);
    const letters = await page.locator('.letter').evaluateAll((all) => all.map((letter) => {
      const {x, y} = letter.getBoundingClientRect();
      return {side: letter.textContent, x, y};
    }));
    return Object.fromEntries(letters.map(({side, x, y}, i) => [side + (i < 2 ? 'hand' : 'foot'), {x, y}]));
  };
  const front = await places('Front');
  assert.ok(front.Lhand.x > front.Lfoot.x && front.Lfoot.x > front.Rfoot.x && front.Rfoot.x > front.Rhand.x);
  assert.ok(front.Lhand.y < front.Lfoot.y && front.Rhand.y < front.Rfoot.y);
  const top = await places('Top');
  assert.ok(top.Lhand.x < top.Lfoot.x && top.Lfoot.x < top.Rfoot.x && top.Rfoot.x < top.Rhand.x);
});

onPage('the pointer over a curve shows the time there, a press goes there', {}, async (page) => {
  await setSlider(page, 50);
  for (const limb of ['Right arm', 'Head']) {
    const box = await plot(page, limb);
    const at = box.x + 0.6 * box.width;
    await page.mouse.move(at, box.y + 5);
    await expectTime(page, sampleAt(box, at), 50);
    await page.mouse.move(5, 5);
    await expectTime(page, 50);
  }
  const box = await plot(page, 'Left leg');
  await page.mouse.click(box.x + 0.3 * box.width, box.y + 5);
  await page.mouse.move(5, 5);
  await expectTime(page, sampleAt(box, box.x + 0.3 * box.width));
});

onPage('the keys turn and zoom the figure that has the focus, and leave the time', {}, async (page) => {
  await setSlider(page, 50);
  await page.getByRole('button', {name: 'Front'}).click();
  await page.locator('.stage canvas').focus();
  // The camera in spherical coordinates about what it looks at.
  const press = async (key) => {
    await page.keyboard.press(key);
    return page.evaluate(() => {
      const {x, y, z} = korvel.figure.camera.position.clone().sub(korvel.figure.controls.target);
      return {azimuth: Math.atan2(y, x), height: z, distance: Math.hypot(x, y, z)};
    });
  };
  const front = await press('Shift');
  const left = await press('ArrowLeft');
  assert.ok(left.azimuth < front.azimuth - 0.05 && Math.abs(left.distance - front.distance) < 1e-6);
  assert.ok(Math.abs((await press('ArrowRight')).azimuth - front.azimuth) < 1e-6);
  const above = await press('ArrowUp');
  assert.ok(above.height > front.height + 0.05 * front.distance);
  assert.ok(Math.abs((await press('ArrowDown')).height - front.height) < 1e-6);
  assert.ok((await press('+')).distance < 0.95 * front.distance);
  assert.ok(Math.abs((await press('-')).distance - front.distance) < 1e-6);
  await expectTime(page, 50);
  await page.locator('.stage canvas').blur();
  await page.locator('.stage canvas').click();
  await page.keyboard.press('ArrowRight');
  assert.equal(await sliderAt(page), 51);
});

onPage('keys play, pause and step', {}, async (page) => {
  const label = () => page.locator('#play').getAttribute('aria-label');
  assert.equal(await label(), 'Play');
  const keys = [
    ['ArrowRight', 1], ['ArrowRight', 2], ['Shift+ArrowRight', 12], ['ArrowLeft', 11], ['End', last()],
    ['ArrowRight', last()], ['Home', 0],
  ];
  for (const [key, sample] of keys) {
    await page.keyboard.press(key);
    assert.equal(await sliderAt(page), sample, key);
  }
  await page.locator('#speed').selectOption('0.5');
  await page.locator('#speed').blur();
  await page.keyboard.press('Space');
  assert.equal(await label(), 'Pause');
  await page.waitForFunction(() => document.querySelector('#slider').value > 20);
  await page.keyboard.press('Space');
  assert.equal(await label(), 'Play');
  const stopped = await sliderAt(page);
  await page.waitForTimeout(100);
  assert.equal(await sliderAt(page), stopped);
  // To the end, and from the start again.
  await setSlider(page, last() - 5);
  await page.locator('#play').press('Space');
  await page.waitForFunction((end) => Number(document.querySelector('#slider').value) === end, last());
  await page.waitForFunction(() => document.querySelector('#play').ariaLabel === 'Play');
  await page.keyboard.press('Enter');
  assert.ok(await sliderAt(page) < last() / 2);
});

for (const width of [360, 1280]) {
  onPage(`everything that can be clicked is reached by Tab, and seen to be, at ${width} px`, {}, async (page) => {
    await page.setViewportSize({width, height: 740});
    const names = new Set();
    for (let i = 0; i < 160; ++i) {
      await page.keyboard.press('Tab');
      const {name, outline, hidden} = await page.evaluate(() => {
        const e = document.activeElement;
        const label = e.ariaLabel ?? e.labels?.[0]?.textContent ?? '';
        const bar = document.querySelector('.transport');
        return {
          name: (label || e.textContent).trim(),
          outline: e === document.body || getComputedStyle(e).outlineStyle,
          hidden: !bar.contains(e) && e.getBoundingClientRect().bottom > bar.getBoundingClientRect().top,
        };
      });
      if (outline === true) break;
      assert.notEqual(name, '');
      assert.notEqual(outline, 'none', name);
      assert.ok(!hidden, `${name} is behind the playback`);
      names.add(name);
    }
    for (const name of ['Top', 'one scale for all limbs', 'Sort by peak torque in N m', 'HeadYaw', 'Play', 'Time', 'Speed']) {
      assert.ok([...names].some((one) => one.startsWith(name)), `${name} in ${[...names]}`);
    }
  });
}

onPage('the table has the peaks, and takes figure and curves to them', {}, async (page) => {
  const rows = () => page.locator('#peaks-body tr').evaluateAll((all) => all.map((row) => row.dataset.joint));
  const peaks = joints().map((joint) => {
    const sizes = wave.columns[`${joint}_torque`].map(Math.abs);
    const peak = Math.max(...sizes);
    return {joint, peak, sample: sizes.indexOf(peak)};
  });
  peaks.sort((a, b) => b.peak - a.peak);
  assert.deepEqual(await rows(), peaks.map(({joint}) => joint));
  for (const {joint, peak, sample} of [peaks[3], peaks[20]]) {
    const row = page.locator(`tr[data-joint=${joint}]`);
    assert.ok((await row.innerText()).includes(peak.toFixed(4)));
    assert.ok((await row.innerText()).includes(wave.columns.time[sample].toFixed(3)));
    await row.click();
    await drawn(page);
    assert.equal(await sliderAt(page), sample);
    assert.equal(await page.locator('.caption').innerText().then((t) => t.split(/\s+/)[0]), joint);
    assert.deepEqual(
        await page.locator('.entry[aria-pressed=true], #peaks-body button[aria-pressed=true]').evaluateAll(
            (all) => all.map((e) => e.closest('[data-joint]').dataset.joint)),
        [joint, joint]);
  }
  await page.getByRole('button', {name: 'Sort by Joint'}).click();
  assert.deepEqual(await rows(), joints().sort());
});

onPage('limbs are those of the tree', {}, async (page) => {
  const panels = page.locator('#torque-panels .panel');
  const limbs = await panels.evaluateAll(
      (all) => all.map((p) => [[...p.querySelector('h3').childNodes].filter((n) => n.nodeType === Node.TEXT_NODE).map((n) => n.data).join(''), [...p.querySelectorAll('.name')].map((n) => n.textContent)]));
  assert.deepEqual(limbs.map(([name]) => name), ['Head', 'Left arm', 'Right arm', 'Left leg', 'Right leg']);
  const side = {Left: 'L', Right: 'R', Head: 'Head'};
  for (const [name, own] of limbs) for (const joint of own) assert.ok(joint.startsWith(side[name.split(' ')[0]]), joint);
  assert.deepEqual(limbs.flatMap(([, own]) => own).sort(), joints().sort());
});

for (const colorScheme of ['light', 'dark']) {
  onPage(`readable, ${colorScheme}, on a phone and on screens`, {colorScheme}, async (page) => {
    for (const width of [360, 1000, 1440]) {
      await page.setViewportSize({width, height: 740});
      await drawn(page);
      const {texts, found} = await page.evaluate(faint);
      assert.ok(texts > 100);
      assert.deepEqual(found, []);
      assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
    }
  });
}

onPage('motion begins by itself', {reducedMotion: 'no-preference'}, async (page) => {
  await page.waitForFunction(() => document.querySelector('#slider').value > 5);
});

test('without WebGL a message stands for the figure and the curves work', async (t) => {
  const poor = await launch(no_webgl);
  t.after(() => poor.close());
  const page = await wave.open(poor);
  assert.match(await page.locator('.stage').innerText(), /needs WebGL 2/);
  await setSlider(page, 200);
  await expectTime(page, 200);
  assert.deepEqual(page.faults, []);
});

test('a figure that fails is a message, and the curves work', async (t) => {
  const page = await wave.open(browser, {}, () => HTMLCanvasElement.prototype.getContext = new Proxy(
      HTMLCanvasElement.prototype.getContext,
      {apply: (get, canvas, [kind, ...more]) => kind === 'webgl2' ? {} : get.call(canvas, kind, ...more)}));
  t.after(() => page.context().close());
  assert.match(await page.locator('.stage').innerText(), /needs WebGL 2/);
  await setSlider(page, 200);
  await expectTime(page, 200);
  assert.deepEqual(page.faults, []);
});

// A test on the page of results other than those of the wave.
const onResults = (name, change, body) => test(name, async (t) => {
  const report = Report.ofMotion(join(motions, 'wave.csv'), change);
  t.after(() => report.remove());
  const page = await report.open(browser);
  t.after(() => page.context().close());
  await drawn(page);
  await body(page, report);
  assert.deepEqual(page.faults, []);
});
const gridLines = (page) => page.evaluate(() => korvel.figure.grid.geometry.attributes.position.count / 2);

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
  const lines = await gridLines(page);
  assert.ok(lines > 10 && lines < 220, `${lines}`);
});

onResults('values near the end of single precision', (name, value) => name === 'time' ? value : value * 1e37, async (page) => {
  assert.match(await page.locator('.stage').innerText(), /within 1000 km/);
  await page.setViewportSize({width: 360, height: 740});
  await drawn(page);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
});

onResults('the figure follows a walk', onCart(1), async (page) => {
  const follow = page.getByLabel('Follow');
  assert.ok(await follow.isChecked());
  const letters = () => page.locator('.letter').evaluateAll((all) => all.map((e) => e.getBoundingClientRect()).map(({x, y}) => [x, y]));
  const tall = async () => {
    const y = (await letters()).map((place) => place[1]);
    return Math.max(...y) - Math.min(...y);
  };
  await setSlider(page, 0);
  const first = await letters();
  const followed = await tall();
  await setSlider(page, last());
  (await letters()).flat().forEach((v, i) => assert.ok(Math.abs(v - first.flat()[i]) < 3, `${v}`));
  await follow.uncheck();
  await drawn(page);
  assert.ok(await tall() < followed / 3);
  const far = await letters();
  await setSlider(page, 0);
  assert.ok(Math.abs((await letters())[0][0] - far[0][0]) > 100);
});

// How much of its chart a curve takes, from its lowest to its highest mark.
onResults('each axis of the centre of mass fills its chart, unless they share a scale', onCart(1), async (page, {columns}) => {
  const shares = async () => {
    const plots = await page.locator('#com-panel .u-over').all();
    const found = [];
    for (const [i, over] of plots.entries()) {
      const values = columns[`com_${'xyz'[i]}`];
      const marks = [];
      for (const extreme of [Math.min(...values), Math.max(...values)]) {
        await setSlider(page, values.indexOf(extreme));
        marks.push((await over.locator('.mark').boundingBox()).y);
      }
      found.push((marks[0] - marks[1]) / (await over.boundingBox()).height);
    }
    return found;
  };
  const ticks = await page.evaluate(() => korvel.charts.slice(-3).map((chart) => chart.labels().texts.length));
  assert.ok(Math.min(...ticks) > 1, `${ticks}`);
  const [own_x, own_y] = await shares();
  assert.ok(own_x > 0.7 && own_y > 0.7);
  await page.locator('#same-length').check();
  await drawn(page);
  const [x, y] = await shares();
  const span = (axis) => Math.max(...columns[axis]) - Math.min(...columns[axis]);
  assert.ok(Math.abs(x - own_x) < 0.01);
  assert.ok(Math.abs(y / x - span('com_y') / span('com_x')) < 0.01);
});

onResults('torques of 1e11 fit', (name, value) => name.endsWith('_torque') ? value * -1.2345e11 : value, async (page) => {
  await page.setViewportSize({width: 360, height: 740});
  await page.locator('#same-scale').uncheck();
  await drawn(page);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
  const cut = await page.locator('.entry, .caption, #peaks-body td').evaluateAll(
      (all) => all.filter((e) => e.scrollWidth > e.clientWidth).map((e) => e.textContent));
  assert.deepEqual(cut, []);
  for (const {texts, room, widest} of await page.evaluate(() => korvel.charts.map((chart) => chart.labels()))) {
    assert.ok(texts.length > 1 && widest <= room, `${texts}`);
    assert.equal(new Set(texts).size, texts.length, `${texts}`);
  }
});

// The root stays at the origin, so that z = 0 is above the feet.
test('one sample, and no ground at z = 0', async (t) => {
  const motion = join(wave.folder, 'one.csv');
  writeFileSync(motion, 'time\n2.5\n');
  const report = Report.ofMotion(motion);
  t.after(() => report.remove());
  const page = await report.open(browser);
  const lowest = Math.min(...Object.keys(report.columns).filter((n) => n.endsWith('_z')).map((n) => report.columns[n][0]));
  assert.match(await page.locator('#ground').innerText(), new RegExp(`lowest point of the motion, z = ${lowest.toFixed(3)} m`));
  assert.equal(await page.locator('#clock').textContent(), '2.500 / 2.500 s');
  assert.ok(await page.locator('#play').isDisabled());
  assert.deepEqual(page.faults, []);
});

// Texts of the time, in each chart that has them: how far from left to right each goes, and how wide the chart is.
const timeTexts = (page) => page.evaluate(() => korvel.charts.map((chart) => chart.times()).filter(({texts}) => texts.length));

for (const [length, change] of Object.entries({
  '12 s': (time) => time * 12 / 7,
  '12.5 s from 2000 s': (time) => 2000 + time * 12.5 / 7,
  '3 ms': (time) => time * 0.003 / 7,
  '3 h from a clock\'s time': (time) => 1760000000.5 + time * 1543,
})) {
  onResults(`times are readable, over ${length}`, (name, value) => name === 'time' ? change(value) : value, async (page) => {
    for (const width of [360, 768, 1000, 1440]) {
      await page.setViewportSize({width, height: 740});
      await drawn(page);
      const charts = await timeTexts(page);
      assert.equal(charts.length, 6);
      for (const {texts, size} of charts) {
        assert.ok(texts.length > 1);
        assert.equal(new Set(texts.map(({text}) => text)).size, texts.length);
        texts.forEach(({text, left, right}, i) => {
          assert.ok(left >= 0 && right <= size, `${text} is cut at ${width} px`);
          assert.ok(text.length < 12, text);
          assert.ok(i === 0 || left > texts[i - 1].right + 3, `${text} overlaps at ${width} px`);
        });
      }
    }
  });
}

onResults('times of a clock are counted from the first', (name, value) => name === 'time' ? value + 1760000000.5 : value, async (page) => {
  assert.match(await page.locator('#facts').innerText(), /Times from\s+1760000000\.5 s/);
  await setSlider(page, last());
  assert.equal(await page.locator('#clock').textContent(), '7.000 / 7.000 s');
  const at = await page.locator('#peaks-body td:last-child').allTextContents();
  assert.ok(at.every((time) => Number(time) <= 7), `${at}`);
});

test('a name cannot turn or break the text around it', async (t) => {
  const text = wave.results.split('\n').slice(0, 4).join('\n');
  for (const [name, shown] of [['a\u202efdp.csv', 'a⟨U+202E⟩fdp.csv'], ['a\u2067\nb\u001b[1m.csv', 'a⟨U+2067⟩⟨U+000A⟩b⟨U+001B⟩[1m.csv'],
                               ['ריצה.csv', 'ריצה.csv']]) {
    const report = new Report(name, text);
    t.after(() => report.remove());
    const page = await report.open(browser);
    assert.equal(await page.locator('h1').textContent(), shown);
    assert.equal(await page.title(), `${shown} – motion report`);
    await page.context().close();
  }
});

// 60,000 samples of few digits. One knee has spikes between the samples that are shown evenly; the last is no extreme.
test('a long motion is thinned, and says so; its peaks are exact', async (t) => {
  const count = 60000;
  const [header] = wave.results.split('\n');
  const names = header.split(',');
  const knee = names.indexOf('LKneePitch_torque');
  const spikes = new Map([[20001, 3.25], [43210, -7.5], [50002, 2]]);
  const rows = Array.from({length: count}, (_, s) => names.map((_, i) => {
    if (i === knee && spikes.has(s)) return spikes.get(s);
    return i === 0 ? s / 1000 : i % 7 === 0 ? Math.round(100 * Math.sin(s / 5000 + i)) / 100 : 0;
  }).join(','));
  const report = new Report('long.csv', [header, ...rows, ''].join('\n'));
  t.after(() => report.remove());
  const {size} = statSync(report.page);
  assert.ok(size < 2e6, `${size} bytes`);

  const page = await report.open(browser);
  const {shown, time, values, drawn_values, drawn_time} = await page.evaluate(() => {
    const {torque} = korvel.motion.joints.find(({name}) => name === 'LKneePitch');
    return {
      shown: korvel.motion.shown,
      time: [...korvel.motion.time],
      values: [...torque.values],
      drawn_values: [...torque.drawn],
      drawn_time: [...korvel.motion.drawnTime],
    };
  });
  assert.ok(shown > 15000 && shown < 15100);
  assert.ok(time.length === shown && values.length === shown);
  assert.match(await page.locator('#facts').innerText(), /Samples\s+15,0\d\d of 60,000 shown/);
  assert.match(await page.locator('main').innerText(), /Shows 15,0\d\d of 60,000 samples: one in 4, and those of the peaks/);
  assert.equal(time.at(-1), (count - 1) / 1000);
  assert.equal(drawn_time.length, drawn_values.length);
  assert.ok(drawn_time.every((t, i) => i === 0 || t >= drawn_time[i - 1]));
  for (const [sample, torque] of spikes) {
    assert.equal(values[time.indexOf(sample / 1000)], torque === 2 ? undefined : torque);
    const places = [...drawn_values.keys()].filter((i) => drawn_values[i] === torque);
    assert.ok(places.every((i) => Math.abs(drawn_time[i] - sample / 1000) < 0.005) && places.length > 0);
  }
  const row = page.locator('tr[data-joint=LKneePitch]');
  assert.match(await row.innerText(), /7\.5000\s+43\.210/);
  await row.click();
  assert.equal(await page.locator('#clock').textContent(), '43.210 / 59.999 s');
  assert.equal(await valueOf(page, 'LKneePitch'), '-7.5000');
  assert.deepEqual(page.faults, []);
});

test('where the data cannot be read the page says so', async (t) => {
  const page = await wave.open(browser, {}, () => delete globalThis.DecompressionStream);
  t.after(() => page.context().close());
  assert.match(await page.locator('#failure').innerText(), /cannot be shown.*It needs a browser of 2023 or later/);
});

// An hour at 100 Hz would not fit into a mail, a minute does.
test('a page of a minute at 100 Hz is below 3 MB', async (t) => {
  const motion = join(wave.folder, 'minute.csv');
  const joints = ['LHipPitch', 'LKneePitch', 'LAnklePitch', 'RHipPitch', 'RKneePitch', 'RShoulderPitch'];
  const rows = Array.from({length: 6001}, (_, s) => [
    s / 100, 0.001 * s, ...joints.map((_, j) => (0.3 * Math.sin(0.03 * s + j) + 0.1 * Math.sin((0.07 + 0.01 * j) * s)).toFixed(6)),
  ].join(','));
  writeFileSync(motion, [`time,x,${joints.join(',')}`, ...rows, ''].join('\n'));
  for (const [report, most] of [[Report.ofMotion(motion), 2.5e6], [Report.onGround(motion), 3e6]]) {
    t.after(() => report.remove());
    const {size} = statSync(report.page);
    assert.ok(size < most, `${size} bytes`);
    t.diagnostic(`${size} bytes`);
  }
});

test('the page carries the licences of what is in it, and names no address to load from', () => {
  const page = readFileSync(wave.page, 'utf8');
  assert.equal(page.split('Permission is hereby granted, free of charge').length - 1, 2);
  assert.match(page, /Copyright © 20\d\d-20\d\d three\.js authors/);
  assert.match(page, /Copyright \(c\) 20\d\d Leon Sorokin/);
  assert.doesNotMatch(page, /<(link|script|img|iframe)[^>]*(src|href)="(?!data:)/);
});
