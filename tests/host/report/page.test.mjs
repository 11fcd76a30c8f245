// The page of a motion in the air.
import assert from 'node:assert/strict';
import {drawn} from './browser.mjs';
import {expectTime, joints, last, near, onPage, picture, plot, sampleAt, setSlider, sliderAt, wave} from './wave.mjs';

onPage('the header says what was run; nothing moves where motion is not wanted', {}, async (page) => {
  await page.waitForTimeout(200);
  assert.equal(await sliderAt(page), 0);
  const facts = await page.locator('header').innerText();
  const {mass} = JSON.parse(wave.side);
  assert.match(facts, /^wave-results\.csv\s/);
  for (const fact of [`Samples\n${last() + 1}`, `Duration\n${wave.columns.time[last()].toFixed(3)} s`, `Total mass\n${mass.toFixed(3)} kg`]) {
    assert.ok(facts.includes(fact), `${fact} in ${facts}`);
  }
  assert.match(facts, /The robot is held in the air, no ground contact; largest torque /);
});

// The places of all that is drawn of the robot: of a rod both ends, or null where it is too short to be drawn.
const placesOf = (page) => page.evaluate(() => {
  const ends = (mesh) => mesh.visible ?
      [-0.5, 0.5].flatMap((y) => mesh.localToWorld(mesh.position.clone().set(0, y, 0)).toArray()) : null;
  const {robot: {limbs, torso, head: {group: head}}, mass: {ball, ring, drop}} = korvel.figure;
  head.updateMatrixWorld();
  return {
    limbs: limbs.map(({parts}) => parts.map(({body: {name}, ball, rods}) => ({
      name, ball: ball.position.toArray(), rods: rods.map(ends), radii: rods.filter(({visible}) => visible).map(({scale}) => scale.x),
    }))),
    com: {ball: ball.position.toArray(), ring: ring.position.toArray(), drop: ends(drop)},
    forward: torso.localToWorld(torso.position.clone().set(1, 0, 0)).sub(torso.position).toArray(),
    head: head.position.toArray(),
    eyes: head.children.slice(-2).map((eye) => eye.getWorldPosition(eye.position.clone()).toArray()),
  };
});

onPage('the slider moves figure, curves and numbers to the numbers of the file', {}, async (page) => {
  assert.match(await page.locator('#ground').innerText(), /z = 0 of the world/);
  const pictures = new Map();
  const bodies = await page.evaluate(() => korvel.motion.bodies.map(({name, parent}) => ({name, parent})));
  for (const sample of [last(), 0, 137, 300]) {
    await setSlider(page, sample);
    await expectTime(page, sample);
    const {limbs, com, forward, head, eyes} = await placesOf(page);
    assert.deepEqual(limbs.flat().map(({name}) => name).sort(), bodies.slice(1).map(({name}) => name).sort());
    // A ball and a ring are at the centre of mass and under it.
    const [x, y, z] = wave.point('com', sample);
    near(com.ball, [x, y, z], 'ball');
    near(com.ring, [x, y, 0], 'ring');
    near(com.drop, [x, y, 0, x, y, z], 'line between them');
    // Rods join the joints and are slim.
    let drawn_rods = 0;
    for (const parts of limbs) {
      let longest = 0;
      for (const {name, ball, rods} of parts) {
        const origin = wave.point(name, sample);
        near(ball, origin, name);
        const children = bodies.filter(({parent}) => bodies[parent]?.name === name).map((child) => wave.point(child.name, sample));
        const to = children.length ? children : [wave.point(`${name}_com`, sample)];
        assert.equal(rods.length, to.length);
        to.forEach((end, i) => {
          const length = Math.hypot(...end.map((v, k) => v - origin[k]));
          longest = Math.max(longest, length);
          if (length > 1e-3 || rods[i]) near(rods[i], [...origin, ...end], name);
          if (length > 1e-3) ++drawn_rods;
        });
      }
      for (const {radii, name} of parts) assert.ok(radii.every((radius) => radius < longest / 4), `${name} is thick`);
    }
    assert.ok(drawn_rods > 10);
    // Torso and face look where the robot does: along the cross product of left and up, of shoulders and neck.
    const [left, right, neck] = ['LShoulderPitch', 'RShoulderPitch', 'HeadYaw'].map((body) => wave.point(body, sample));
    const origin = wave.point('Torso', sample);
    const [u, v] = [left.map((c, i) => c - right[i]), neck.map((c, i) => c - origin[i])];
    const cross = [0, 1, 2].map((i) => u[(i + 1) % 3] * v[(i + 2) % 3] - u[(i + 2) % 3] * v[(i + 1) % 3]);
    near(forward, cross.map((c) => c / Math.hypot(...cross)), 'forward');
    for (const eye of eyes) assert.ok(eye.reduce((sum, c, i) => sum + (c - head[i]) * forward[i], 0) > 0.02, 'the face looks back');
    pictures.set(sample, await picture(page));
  }
  await setSlider(page, 137);
  assert.ok(pictures.get(137).equals(await picture(page)));
  assert.ok(!pictures.get(137).equals(pictures.get(300)));
  const [caption, canvas] = await Promise.all(
      ['.caption', '.stage canvas'].map((part) => page.locator(part).boundingBox()));
  assert.ok(caption.y + caption.height <= canvas.y, 'the figure strikes the caption through');
});

// Seen from the front the robot's left is on the right; the letters stand at the feet.
onPage('left and right are told', {}, async (page) => {
  const places = async (view) => {
    await page.locator('#views').getByRole('button', {name: view}).click();
    await drawn(page);
    const letters = await page.locator('.letter').evaluateAll(
        (all) => all.map((letter) => [letter.textContent, letter.getBoundingClientRect().toJSON()]));
    assert.deepEqual(letters.map(([side]) => side).sort(), ['L', 'R']);
    return Object.fromEntries(letters);
  };
  const front = await places('Front');
  assert.ok(front.L.x > front.R.x + 5);
  const {y, height} = await page.locator('.stage canvas').boundingBox();
  assert.ok(Math.min(front.L.y, front.R.y) > y + height / 2);
  const top = await places('Top');
  assert.ok(top.L.x < top.R.x - 5);
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
  const {azimuth, height, distance} = await press('Shift');
  for (const [key, change, opposite] of [
    ['ArrowLeft', (now) => now.azimuth < azimuth - 0.05, 'ArrowRight'],
    ['ArrowUp', (now) => now.height > height + 0.05 * distance, 'ArrowDown'],
    ['+', (now) => now.distance < 0.95 * distance, '-'],
  ]) {
    assert.ok(change(await press(key)), key);
    const now = await press(opposite);
    for (const [kind, value] of Object.entries({azimuth, height, distance})) assert.ok(Math.abs(now[kind] - value) < 1e-6, `${opposite}: ${kind}`);
  }
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
    ['ArrowRight', last()], ['Home', 0], ['ArrowLeft', 0],
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
  // Playing stops at the end and begins again from the start.
  await setSlider(page, last() - 5);
  await page.locator('#play').press('Space');
  await page.waitForFunction((end) => Number(document.querySelector('#slider').value) === end, last());
  await page.waitForFunction(() => document.querySelector('#play').ariaLabel === 'Play');
  await page.keyboard.press('Enter');
  assert.ok(await sliderAt(page) < last() / 2);
});

onPage('a question mark lists the keys, which rest meanwhile', {}, async (page) => {
  await setSlider(page, 50);
  await page.locator('#slider').blur();
  const list = page.locator('#keys');
  await page.keyboard.press('?');
  assert.match(await list.innerText(), /Space\s+play or pause/);
  await page.keyboard.press('Home');
  assert.equal(await sliderAt(page), 50);
  await page.keyboard.press('Escape');
  assert.ok(!await list.isVisible());
  await page.getByRole('button', {name: 'Keys'}).click();
  await page.getByRole('button', {name: 'Close'}).click();
  assert.ok(!await list.isVisible());
});

onPage('motion begins by itself; the address has the time shown, and leads to it', {reducedMotion: 'no-preference'}, async (page) => {
  await page.waitForFunction(() => document.querySelector('#slider').value > 5);
  await setSlider(page, 137);
  await page.waitForFunction((t) => location.hash === `#t=${t}`, wave.columns.time[137]);
  await page.evaluate((t) => location.hash = `#t=${t}`, wave.columns.time[300] + 0.001);
  await page.waitForFunction(() => document.querySelector('#slider').value === '300');
  await page.reload();
  await page.waitForFunction(() => globalThis.korvel);
  await page.waitForTimeout(100);
  assert.equal(await sliderAt(page), 300);
});

onPage('joints of small torques are folded away', {}, async (page) => {
  const sizes = Object.fromEntries(joints().map((joint) => [joint, Math.max(...wave.columns[`${joint}_torque`].map(Math.abs))]));
  const large = joints().filter((joint) => sizes[joint] >= 0.01 * Math.max(...Object.values(sizes)));
  const seen = async (part) => (await page.locator(part).evaluateAll(
      (all) => all.filter((e) => e.checkVisibility()).map((e) => e.dataset.joint))).sort();
  assert.ok(large.length < joints().length);
  for (const part of ['.entry[data-joint]', '#peaks-body tr']) assert.deepEqual(await seen(part), large.toSorted(), part);
  await page.locator('#fold').check();
  for (const part of ['.entry[data-joint]', '#peaks-body tr']) assert.deepEqual(await seen(part), joints().sort(), part);
});

onPage('paper has all of the page and nothing to press', {}, async (page) => {
  await page.emulateMedia({media: 'print', colorScheme: 'dark'});
  await drawn(page);
  assert.equal(await page.locator('.transport, #mark, .save >> visible=true').count(), 0);
  assert.equal(await page.evaluate(() => getComputedStyle(document.documentElement).colorScheme), 'light');
  const dots = await page.evaluate(() => {
    const {width, height} = document.querySelector('.stage canvas');
    const context = new OffscreenCanvas(width, height).getContext('2d');
    context.drawImage(document.querySelector('.stage canvas'), 0, 0);
    return new Set(new Uint32Array(context.getImageData(0, 0, width, height).data.buffer)).size;
  });
  assert.ok(dots > 100, 'the figure is not kept for the printer');
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
    for (const name of ['Top', 'one scale for all limbs', 'Sort by peak torque in N m', 'HeadPitch', 'Keys', 'Play', 'Time', 'Speed']) {
      assert.ok([...names].some((one) => one.startsWith(name)), `${name} in ${[...names]}`);
    }
  });
}

onPage('the table has the peaks, and takes figure and curves to them', {}, async (page) => {
  await page.locator('#fold').check();
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
