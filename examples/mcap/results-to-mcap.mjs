// node results-to-mcap.mjs RESULTS OUTPUT [--start TIME]
// Converts results of `korvel-host run` or `korvel-host replay --results` to MCAP. TIME is the date and time at which the
// times of RESULTS are 0.
import {McapWriter} from '@mcap/core';
import {readFileSync, writeFileSync} from 'node:fs';
import {parseArgs} from 'node:util';

// These are the schemas that viewers know by their names.
const object = (title, properties) => ({title, type: 'object', properties});
const list = (items) => ({type: 'array', items});
const text = {type: 'string'};
const numbers = (...names) => Object.fromEntries(names.map((name) => [name, {type: 'number'}]));
const timestamp = object('time', {sec: {type: 'integer', minimum: 0}, nsec: {type: 'integer', minimum: 0}});
const schemas = {
  '/joint_states': object('foxglove.JointStates', {
    timestamp, joints: list(object('foxglove.JointState', {name: text, ...numbers('position', 'velocity', 'effort')})),
  }),
  '/tf': object('foxglove.FrameTransforms', {
    transforms: list(object('foxglove.FrameTransform', {
      timestamp, parent_frame_id: text, child_frame_id: text,
      translation: object('foxglove.Vector3', numbers('x', 'y', 'z')),
      rotation: object('foxglove.Quaternion', numbers('x', 'y', 'z', 'w')),
    })),
  }),
  '/centre_of_mass': object('foxglove.Point3InFrame', {
    timestamp, frame_id: text, point: object('foxglove.Point3', numbers('x', 'y', 'z')),
  }),
};

// Returns the names of the columns, and each row as an object by these names.
function table(file) {
  const [names, ...rows] = readFileSync(file, 'utf8').trim().split(/\r?\n/).map((line) => line.split(','));
  return {names, rows: rows.map((row) => Object.fromEntries(names.map((name, i) => [name, Number(row[i])])))};
}

function messages(timestamp, row, joints, bodies) {
  const point = (name) => ({x: row[`${name}_x`], y: row[`${name}_y`], z: row[`${name}_z`]});
  return {
    '/joint_states': {
      timestamp,
      joints: joints.map((name) => (
        {name, position: row[`${name}_angle`], velocity: row[`${name}_speed`], effort: row[`${name}_torque`]})),
    },
    '/tf': {
      transforms: bodies.map((name) => ({
        timestamp, parent_frame_id: 'world', child_frame_id: `${name}_origin`, translation: point(name),
        rotation: {x: 0, y: 0, z: 0, w: 1},
      })),
    },
    '/centre_of_mass': {timestamp, frame_id: 'world', point: point('com')},
  };
}

const {positionals: [input, output], values: {start}} = parseArgs({
  allowPositionals: true, options: {start: {type: 'string', default: '1970-01-01T00:00:00Z'}},
});
if (!output) throw new Error('expected RESULTS and OUTPUT');
const {names, rows} = table(input);
const ending = (end) => names.filter((name) => name.endsWith(end)).map((name) => name.slice(0, -end.length));
const joints = ending('_torque');
const bodies = ending('_com_x');

const chunks = [];
let size = 0n;
const writer = new McapWriter({writable: {
  position: () => size,
  async write(bytes) {
    chunks.push(Buffer.from(bytes));
    size += BigInt(bytes.length);
  },
}});
const encode = (value) => new TextEncoder().encode(JSON.stringify(value));
await writer.start({profile: '', library: 'korvel'});
const channels = {};
for (const [topic, schema] of Object.entries(schemas)) {
  const schemaId = await writer.registerSchema({name: schema.title, encoding: 'jsonschema', data: encode(schema)});
  channels[topic] = await writer.registerChannel({topic, schemaId, messageEncoding: 'json', metadata: new Map()});
}
for (const [sequence, row] of rows.entries()) {
  const logTime = BigInt(Date.parse(start)) * 1000000n + BigInt(Math.round(row.time * 1e9));
  const timestamp = {sec: Number(logTime / 1000000000n), nsec: Number(logTime % 1000000000n)};
  for (const [topic, message] of Object.entries(messages(timestamp, row, joints, bodies))) {
    await writer.addMessage({channelId: channels[topic], sequence, logTime, publishTime: logTime, data: encode(message)});
  }
}
await writer.end();
writeFileSync(output, Buffer.concat(chunks));
