// What `korvel-host replay --mcap` writes, read by the format's own reader, is what was recorded.
import {McapIndexedReader} from '@mcap/core';
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readdirSync, readFileSync, rmSync, statSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {test} from 'node:test';

const {KORVEL_HOST, KORVEL_MCAP_SCRIPT, KORVEL_RECORDER, KORVEL_RECORDED_HOST} = process.env;

function folderOf(t) {
  const folder = mkdtempSync(join(tmpdir(), 'korvel-'));
  t.after(() => rmSync(folder, {recursive: true}));
  return folder;
}

// The longest recording of a host: a process that tries the module has a small one.
function record(folder, host, ...more) {
  execFileSync(host, more, {env: {...process.env, KORVEL_RECORD_TO: folder}, stdio: 'pipe'});
  const files = readdirSync(folder).filter((name) => name.endsWith('.rec')).map((name) => join(folder, name));
  return files.sort((a, b) => statSync(b).size - statSync(a).size)[0];
}

const replay = (...more) => execFileSync(KORVEL_HOST, ['replay', ...more], {encoding: 'utf8'});

// Columns by name.
function columnsIn(file) {
  const [header, ...rows] = readFileSync(file, 'utf8').trim().split('\n').map((line) => line.split(','));
  return Object.fromEntries(header.map((name, i) => [name, rows.map((row) => Number(row[i]))]));
}

// What does not fit to the schema, by its path.
function misfits(schema, value, path = '') {
  if (schema.type === 'object') {
    const missing = schema.required.filter((name) => !(name in value)).map((name) => `${path}.${name} is missing`);
    return missing.concat(...Object.entries(value).map(
        ([name, part]) => schema.properties[name] ? misfits(schema.properties[name], part, `${path}.${name}`) : `${path}.${name}`));
  }
  if (schema.type === 'array') return value.flatMap((part, i) => misfits(schema.items, part, `${path}[${i}]`));
  const fits = schema.type === 'integer' ? Number.isInteger(value) : typeof value === schema.type;
  return fits ? [] : [`${path}: ${value}`];
}

// Messages by topic, each with its `logTime`.
async function messagesIn(bytes) {
  const readable = {
    size: async () => BigInt(bytes.length),
    read: async (offset, size) => bytes.subarray(Number(offset), Number(offset + size)),
  };
  const reader = await McapIndexedReader.Initialize({readable});
  const text = new TextDecoder();
  const topics = {};
  const names = {};
  for await (const {channelId, logTime, publishTime, data} of reader.readMessages({validateCrcs: true})) {
    const {topic, schemaId, messageEncoding} = reader.channelsById.get(channelId);
    const {name, encoding, data: schemaData} = reader.schemasById.get(schemaId);
    const schema = JSON.parse(text.decode(schemaData));
    const message = JSON.parse(text.decode(data));
    assert.deepEqual([messageEncoding, encoding, schema.title], ['json', 'jsonschema', name]);
    assert.equal(publishTime, logTime);
    assert.deepEqual(misfits(schema, message), [], topic);
    for (const {sec, nsec} of [message, ...message.transforms ?? []].map((stamped) => stamped.timestamp).filter(Boolean)) {
      assert.equal(BigInt(sec) * 1000000000n + BigInt(nsec), logTime);
    }
    names[topic] = name;
    (topics[topic] ??= []).push({logTime, ...message});
  }
  assert.deepEqual(names, {
    '/joint_states': 'foxglove.JointStates', '/tf': 'foxglove.FrameTransforms', '/root_pose': 'foxglove.PoseInFrame',
    '/centre_of_mass': 'foxglove.Point3InFrame',
  });
  return topics;
}

// Seconds since the recording began, by the clock that its header has at byte 48.
const secondsSince = (recording, {logTime}) => Number(logTime - readFileSync(recording).readBigInt64LE(48)) * 1e-9;

function near(found, expected, tolerance, what) {
  assert.ok(Math.abs(found - expected) <= tolerance, `${what}: ${found}, expected ${expected}`);
}

// The columns of --csv, where the sample of each row is.
function compareToMotion(topics, recording, motion) {
  const joints = Object.keys(motion).slice(8);
  for (const [topic, messages] of Object.entries(topics)) assert.equal(messages.length, motion.time.length, topic);
  motion.time.forEach((time, s) => {
    for (const messages of Object.values(topics)) near(secondsSince(recording, messages[s]), time, 2e-9, 'time');
    const {joints: states} = topics['/joint_states'][s];
    assert.deepEqual(states.map(({name}) => name), joints);
    assert.deepEqual(states.map(({position}) => position), joints.map((name) => motion[name][s]));
    const {frame_id, pose} = topics['/root_pose'][s];
    assert.equal(frame_id, 'world');
    for (const axis of 'xyz') assert.equal(pose.position[axis], motion[axis][s]);
    // Either sign is the same rotation.
    const dot = [...'wxyz'].reduce((sum, part) => sum + pose.orientation[part] * motion[`q${part}`][s], 0);
    near(Math.abs(dot), 1, 1e-6, 'orientation of the root');
  });
}

test('a run: positions, times and root of --csv, places and torques of the results, velocities of the motion', async (t) => {
  const folder = folderOf(t);
  const step = 0.01;
  const rows = Array.from({length: 40}, (_, i) => [step * i, 0.1 * i, 0.2 * Math.sin(0.1 * i), 0.003 * i * i, -0.07 * i]);
  writeFileSync(join(folder, 'given.csv'), ['time,x,yaw,LKneePitch,RShoulderRoll', ...rows, ''].join('\n'));
  const recording = record(
      folder, KORVEL_HOST, 'run', join(folder, 'given.csv'), '-o', join(folder, 'results.csv'), '--module', KORVEL_RECORDER);
  assert.match(replay(recording, '--csv', join(folder, 'motion.csv'), '--mcap', join(folder, 'motion.mcap')), /40 samples in /);
  const topics = await messagesIn(readFileSync(join(folder, 'motion.mcap')));
  compareToMotion(topics, recording, columnsIn(join(folder, 'motion.csv')));

  const results = columnsIn(join(folder, 'results.csv'));
  const same = (found, name, sample) => assert.equal(Math.fround(found), Math.fround(results[name][sample]), name);
  rows.forEach((_, s) => {
    for (const {name, effort} of topics['/joint_states'][s].joints) same(effort, `${name}_torque`, s);
    const {transforms} = topics['/tf'][s];
    assert.equal(transforms.length, 25);
    for (const {parent_frame_id, child_frame_id, translation, rotation} of transforms) {
      assert.equal(parent_frame_id, 'world');
      for (const axis of 'xyz') same(translation[axis], `${child_frame_id}_${axis}`, s);
      near(Math.hypot(...Object.values(rotation)), 1, 1e-8, child_frame_id);
    }
    const {pose} = topics['/root_pose'][s];
    assert.deepEqual(transforms[0].translation, pose.position);
    assert.deepEqual(transforms[0].rotation, pose.orientation);
    for (const axis of 'xyz') same(topics['/centre_of_mass'][s].point[axis], `com_${axis}`, s);
  });
  const velocity = (s, joint) => topics['/joint_states'][s].joints.find(({name}) => name === joint).velocity;
  for (let s = 5; s < 35; ++s) {
    near(velocity(s, 'LKneePitch'), (rows[s + 1][3] - rows[s - 1][3]) / (2 * step), 1e-3, 'LKneePitch');
    near(velocity(s, 'RShoulderRoll'), -7, 1e-3, 'RShoulderRoll');
  }
});

test('a host: torques where it had them computed, and what it set once before --from', async (t) => {
  const folder = folderOf(t);
  const recording = record(folder, KORVEL_RECORDED_HOST, KORVEL_RECORDER, 'motion', '40');
  const [whole, part] = ['whole', 'part'].map((name) => join(folder, name));
  replay(recording, '--csv', `${whole}.csv`, '--mcap', `${whole}.mcap`);
  const motion = columnsIn(`${whole}.csv`);
  const topics = await messagesIn(readFileSync(`${whole}.mcap`));
  compareToMotion(topics, recording, motion);
  topics['/joint_states'].forEach(({joints}, s) => {
    const moved = joints[s % joints.length];
    if (s % 2 === 1) assert.equal(moved.velocity, Math.fround(0.5 * s));
    for (const joint of joints) assert.equal('effort' in joint, s % 2 === 1, `${joint.name}, sample ${s}`);
  });

  const between = (s) => String((motion.time[s - 1] + motion.time[s]) / 2);
  const span = ['--from', between(10), '--to', between(30)];
  replay(recording, '--mcap', `${part}.mcap`, ...span);
  const cut = await messagesIn(readFileSync(`${part}.mcap`));
  for (const [topic, messages] of Object.entries(topics)) assert.deepEqual(cut[topic], messages.slice(10, 30), topic);
});

// JSON has no word for them, and a schema no number that may be missing from a pose.
test('numbers that are not finite are left out, and places that need them', async () => {
  const pose = [1, 2, 3, 0, 0, 0, 1];
  const poseWith = (at, value) => pose.map((number, i) => i === at ? value : number);
  const samples = [
    ['1700000000123456789', 0.1, 'nan', 'inf', 0.2, 0.3, '-nan', 4, 5, 6, ...pose, ...poseWith(2, 'nan')],
    ['1700000001000000000', 0, 0, 0, 0, 0, 0, 4, 'nan', 6, ...poseWith(6, '-inf'), ...pose],
    ['1700000002000000000', 0, 0, 0, 0, 0, 0, 4, 5, 6, ...pose, ...pose],
  ];
  const input = ['knee,hip', 'root,leg', ...samples, ''].join('\n');
  const topics = await messagesIn(execFileSync(process.execPath, [KORVEL_MCAP_SCRIPT], {input}));
  assert.deepEqual(topics['/joint_states'][0].joints, [{name: 'knee', position: 0.1, effort: 0.3}, {name: 'hip', velocity: 0.2}]);
  const placed = topics['/tf'].map(({transforms}) => transforms.map(({child_frame_id}) => child_frame_id));
  assert.deepEqual(placed, [['root'], ['leg'], ['root', 'leg']]);
  const times = (topic) => topics[topic].map(({logTime}) => String(logTime));
  assert.deepEqual(times('/joint_states'), samples.map(([time]) => time));
  assert.deepEqual(times('/root_pose'), [samples[0][0], samples[2][0]]);
  assert.deepEqual(times('/centre_of_mass'), [samples[0][0], samples[2][0]]);
});
