// A weight shift in which the robot falls.
import {readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {after, before} from 'node:test';
import {onPageOf} from './pages.mjs';
import {motions, Report} from './report.mjs';

export {browser, near, show} from './pages.mjs';
export let fast;
export const feet = ['LAnkleRoll', 'RAnkleRoll'];
before(() => {
  const [header, ...rows] = readFileSync(join(motions, 'weight_shift.csv'), 'utf8').trim().split('\n');
  const faster = rows.map((row) => row.replace(/^[^,]*/, (time) => (0.2 * time).toFixed(4)));
  const wave = Report.ofMotion(join(motions, 'wave.csv'));
  const motion = join(wave.folder, 'fast.csv');
  writeFileSync(motion, [header, ...faster, ''].join('\n'));
  fast = Report.onGround(motion);
  wave.remove();
});
after(() => fast.remove());

export const onPage = onPageOf(() => fast);
export const at = (columns, names, sample) => names.map((name) => columns[name][sample]);
