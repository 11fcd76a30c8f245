// node mcap.mjs: samples of a motion from the standard input, as MCAP to the standard output. The first two lines are the
// names of joints and bodies; a sample is a line of numbers: nanoseconds since 1970; positions, velocities and efforts of
// the joints; the centre of mass; the bodies' poses in the world as x, y, z, qx, qy, qz, qw. What is no number is not known.
import {McapWriter} from '@mcap/core';
import {writeSync} from 'node:fs';
import {createInterface} from 'node:readline';

// The schemas that viewers know by their names.
const object = (title, properties, required = Object.keys(properties)) => ({title, type: 'object', properties, required});
const list = (items) => ({type: 'array', items});
const text = {type: 'string'};
const number = {type: 'number'};
const numbers = (names) => Object.fromEntries([...names].map((name) => [name, number]));
const timestamp = object('time', {
  sec: {type: 'integer', minimum: 0},
  nsec: {type: 'integer', minimum: 0, maximum: 999999999},
});
const vector = object('foxglove.Vector3', numbers('xyz'));
const quaternion = object('foxglove.Quaternion', numbers('xyzw'));
const schemas = {
  '/joint_states': object('foxglove.JointStates', {
    timestamp,
    joints: list(object('foxglove.JointState', {name: text, ...numbers(['position', 'velocity', 'effort'])}, ['name'])),
  }),
  '/tf': object('foxglove.FrameTransforms', {
    transforms: list(object('foxglove.FrameTransform', {
      timestamp, parent_frame_id: text, child_frame_id: text, translation: vector, rotation: quaternion,
    })),
  }),
  '/root_pose': object('foxglove.PoseInFrame', {
    timestamp, frame_id: text, pose: object('foxglove.Pose', {position: vector, orientation: quaternion}),
  }),
  '/centre_of_mass': object('foxglove.Point3InFrame', {
    timestamp, frame_id: text, point: object('foxglove.Point3', numbers('xyz')),
  }),
};
const world = 'world';
const known = (values) => values.every(Number.isFinite);

// Messages by topic; those with a number that has to be there and is not known are left out.
function messages(joints, bodies, timestamp, values) {
  let at = 0;
  const next = (count) => values.slice(at, at += count);
  const [positions, velocities, efforts] = [joints, joints, joints].map(({length}) => next(length));
  const [x, y, z] = next(3);
  const poses = bodies.map(() => next(7));
  const states = joints.map((name, j) => {
    const all = {position: positions[j], velocity: velocities[j], effort: efforts[j]};
    return {name, ...Object.fromEntries(Object.entries(all).filter(([, value]) => known([value])))};
  });
  const placed = poses.map(([x, y, z, qx, qy, qz, qw]) => [{x, y, z}, {x: qx, y: qy, z: qz, w: qw}]);
  const transforms = bodies.map((child_frame_id, b) => {
    const [translation, rotation] = placed[b];
    return {timestamp, parent_frame_id: world, child_frame_id, translation, rotation};
  });
  const [position, orientation] = placed[0];
  return {
    '/joint_states': {timestamp, joints: states},
    '/tf': {transforms: transforms.filter((_, b) => known(poses[b]))},
    ...known(poses[0]) && {'/root_pose': {timestamp, frame_id: world, pose: {position, orientation}}},
    ...known([x, y, z]) && {'/centre_of_mass': {timestamp, frame_id: world, point: {x, y, z}}},
  };
}

let written = 0n;
const writable = {
  position: () => written,
  async write(bytes) {
    for (let at = 0; at < bytes.length;) at += writeSync(1, bytes, at);
    written += BigInt(bytes.length);
  },
};

async function convert() {
  const lines = createInterface({input: process.stdin})[Symbol.asyncIterator]();
  const names = async () => (await lines.next()).value.split(',');
  const joints = await names();
  const bodies = await names();
  const encoder = new TextEncoder();
  const writer = new McapWriter({writable});
  await writer.start({profile: '', library: 'korvel-host'});
  const channels = {};
  for (const [topic, schema] of Object.entries(schemas)) {
    const data = encoder.encode(JSON.stringify(schema));
    const schemaId = await writer.registerSchema({name: schema.title, encoding: 'jsonschema', data});
    channels[topic] = await writer.registerChannel({topic, schemaId, messageEncoding: 'json', metadata: new Map()});
  }
  let sequence = 0;
  for await (const line of lines) {
    const [time, ...values] = line.split(',');
    const logTime = BigInt(time);
    const timestamp = {sec: Number(logTime / 1000000000n), nsec: Number(logTime % 1000000000n)};
    for (const [topic, message] of Object.entries(messages(joints, bodies, timestamp, values.map(Number)))) {
      const data = encoder.encode(JSON.stringify(message));
      await writer.addMessage({channelId: channels[topic], sequence, logTime, publishTime: logTime, data});
    }
    ++sequence;
  }
  await writer.end();
}

try {
  await convert();
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
}
