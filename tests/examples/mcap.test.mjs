// The MCAP file of examples/mcap, read by the format's own reader, has the numbers of the results.
import {McapIndexedReader} from '@mcap/core';
import assert from 'node:assert/strict';
import {execFileSync, spawnSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {test} from 'node:test';

async function messagesIn(file) {
  const bytes = readFileSync(file);
  const reader = await McapIndexedReader.Initialize({readable: {
    size: async () => BigInt(bytes.length),
    read: async (offset, size) => bytes.subarray(Number(offset), Number(offset + size)),
  }});
  const text = new TextDecoder();
  const topics = {};
  for await (const {channelId, logTime, data} of reader.readMessages({validateCrcs: true})) {
    const {topic, schemaId} = reader.channelsById.get(channelId);
    const {name, data: schema} = reader.schemasById.get(schemaId);
    const message = JSON.parse(text.decode(data));
    assert.equal(JSON.parse(text.decode(schema)).title, name);
    const {sec, nsec} = message.timestamp ?? message.transforms[0].timestamp;
    assert.equal(BigInt(sec) * 1000000000n + BigInt(nsec), logTime);
    (topics[topic] ??= []).push({logTime, ...message});
  }
  return topics;
}

test('results become MCAP', async (t) => {
  const folder = mkdtempSync(join(tmpdir(), 'korvel-'));
  t.after(() => rmSync(folder, {recursive: true}));
  const file = (name) => join(folder, name);
  const times = Array.from({length: 20}, (_, i) => 0.01 * i);
  writeFileSync(file('motion.csv'), ['time,LKneePitch', ...times.map((time) => `${time},${0.5 * time * time}`), ''].join('\n'));
  execFileSync(process.env.KORVEL_HOST, ['run', file('motion.csv'), '-o', file('results.csv')], {stdio: 'pipe'});
  const convert = (...options) => spawnSync(process.execPath, ['results-to-mcap.mjs', file('results.csv'), ...options], {encoding: 'utf8'});
  const start = '2026-11-25T03:12:45.123Z';
  const {status, stderr} = convert(file('odd.mcap'), '--start', start);
  assert.equal(status, 0, stderr);
  const topics = await messagesIn(file('odd.mcap'));

  const [header, ...rows] = readFileSync(file('results.csv'), 'utf8').trim().split('\n').map((line) => line.split(','));
  times.forEach((time, s) => {
    const result = (name) => Number(rows[s][header.indexOf(name)]);
    const placed = (point, name) => assert.deepEqual(point, {x: result(`${name}_x`), y: result(`${name}_y`), z: result(`${name}_z`)});
    for (const messages of Object.values(topics)) {
      assert.equal(Number(messages[s].logTime - BigInt(Date.parse(start)) * 1000000n), Math.round(time * 1e9));
    }
    const {joints} = topics['/joint_states'][s];
    assert.equal(joints.length, 24);
    for (const {name, position, velocity, effort} of joints) {
      assert.deepEqual([position, velocity, effort], ['angle', 'speed', 'torque'].map((quantity) => result(`${name}_${quantity}`)));
    }
    assert.equal(Math.fround(joints.find(({name}) => name === 'LKneePitch').position), Math.fround(0.5 * time * time));
    const {transforms} = topics['/tf'][s];
    assert.equal(transforms.length, 25);
    for (const {child_frame_id, translation} of transforms) placed(translation, child_frame_id.replace('_origin', ''));
    placed(topics['/centre_of_mass'][s].point, 'com');
  });
});
