import 'uplot/dist/uPlot.min.css';
import './colours.css';
import './parts.css';
import './page.css';

import {addControls} from './controls.js';
import {element} from './dom.js';
import {addFigure} from './figure.js';
import {readMotion} from './motion.js';
import {addComCharts, addTorquePanels} from './panels.js';
import {addPeaks} from './peaks.js';
import {Selection} from './selection.js';
import {Timeline} from './timeline.js';

const byId = (id) => document.getElementById(id);

function showFacts({file, time, joints, bodies, mass}) {
  document.title = `${file} – motion report`;
  byId('file').textContent = file;
  const facts = {
    Duration: `${(time[time.length - 1] - time[0]).toFixed(3)} s`,
    Samples: time.length,
    Robot: `${bodies.length} bodies, ${joints.length} joints`,
    'Total mass': `${mass.toFixed(3)} kg`,
  };
  byId('facts').append(...Object.entries(facts).map(
      ([name, value]) => element('div', {}, element('dt', {}, name), element('dd', {}, String(value)))));
}

const motion = readMotion(byId('data').textContent);
const timeline = new Timeline(motion.time);
const peaks = motion.joints.map(({peak}) => peak);
const selection = new Selection(peaks.indexOf(Math.max(...peaks)));

showFacts(motion);
byId('ground').textContent = motion.ground.text;
addControls(timeline, {
  play: byId('play'),
  back: byId('back'),
  forward: byId('forward'),
  slider: byId('slider'),
  clock: byId('clock'),
  speed: byId('speed'),
});
const charts = [
  ...addTorquePanels(byId('torque-panels'), byId('same-scale'), motion, timeline, selection),
  ...addComCharts(byId('com-panel'), byId('same-length'), motion, timeline),
];
addPeaks(byId('peaks-head'), byId('peaks-body'), motion, timeline, selection);
const figure = addFigure(byId('stage'), byId('views'), motion, timeline, selection);

if (!matchMedia('(prefers-reduced-motion: reduce)').matches) timeline.play();

// For the console of a browser: korvel.figure.robot.spheres() and the like.
globalThis.korvel = {motion, timeline, selection, charts, figure};
