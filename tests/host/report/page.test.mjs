// The page of a motion in the air.
import assert from 'node:assert/strict';
import {drawn} from './browser.mjs';
import {expectTime, joints, last, near, onPage, picture, plot, sampleAt, setSlider, sliderAt, torque, wave} from './wave.mjs';

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
    const spheres = await page.evaluate(() => korvel.figure.robot.bodies.map(({sphere}) => sphere.position.toArray()));
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
    // The ends of a rod, null where it is too short to be drawn.
    const {rods, com} = await page.evaluate(() => {
      const ends = (mesh) => mesh.visible ?
          [-0.5, 0.5].map((y) => mesh.localToWorld(mesh.position.clone().set(0, y, 0)).toArray()) : null;
      const {bodies, com: {ball, ring, drop}} = korvel.figure.robot;
      return {
        rods: bodies.map(({rods}) => rods.map(ends)),
        com: {ball: ball.position.toArray(), ring: ring.position.toArray(), drop: ends(drop)},
      };
    });
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

onPage('motion begins by itself', {reducedMotion: 'no-preference'}, async (page) => {
  await page.waitForFunction(() => document.querySelector('#slider').value > 5);
});
