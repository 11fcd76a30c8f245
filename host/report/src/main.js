import 'uplot/dist/uPlot.min.css';
import './colours.css';
import './parts.css';
import './page.css';

import {addControls} from './controls.js';
import {Comparison} from './curves/comparison.js';
import {addComCharts, addGroundCharts, addTorquePanels} from './curves/panels.js';
import {addTools} from './curves/tools.js';
import {View} from './curves/view.js';
import {readMotion} from './data/motion.js';
import {visible, whole} from './data/numbers.js';
import {element} from './dom.js';
import {addFigure} from './figure/figure.js';
import {addPeaks} from './peaks.js';
import {Selection} from './selection.js';
import {Timeline} from './timeline.js';
import {addTopView} from './topview.js';
import {addVerdict} from './verdict.js';

const byId = (id) => document.getElementById(id);

function showFacts({file, other, time, origin, samples, shown, joints, bodies, mass}) {
  const name = other ? `A ${visible(file)}, B ${visible(other.file)}` : visible(file);
  document.title = `${name} – motion report`;
  byId('file').textContent = name;
  const facts = {
    Duration: `${(time[time.length - 1] - time[0]).toFixed(3)} s`,
    ...(origin === 0 ? {} : {'Times from': `${origin} s`}),
    Samples: shown === samples ? samples : `${whole(shown)} of ${whole(samples)} shown`,
    Robot: `${bodies.length} bodies, ${joints.length} joints`,
    'Total mass': `${mass.toFixed(3)} kg`,
  };
  byId('facts').append(...Object.entries(facts).map(
      ([name, value]) => element('div', {}, element('dt', {}, name), element('dd', {}, String(value)))));
}

// What else there is of the motion than is shown.
const between = ({stride, shown, samples}) => shown === samples ? '' :
    `Shows ${whole(shown)} of ${whole(samples)} samples: one in ${stride}, and those of the peaks. Curves are drawn
     through the lowest and the highest values of all.`;

// All of the times of both runs, and half a second on both sides of one that is alone.
function fullSpan(motion, comparison) {
  const {time} = motion;
  const [first, last] = [time, comparison?.span].filter(Boolean).reduce(
      ([low, high], times) => [Math.min(low, times[0]), Math.max(high, times[times.length - 1])], [Infinity, -Infinity]);
  return last > first ? [first, last] : [first - 0.5, first + 0.5];
}

function makePage(motion, timeline) {
  const comparison = motion.other ? new Comparison(motion.other) : null;
  const full = fullSpan(motion, comparison);
  // Of a few samples, and far enough from where numbers end.
  const view = new View(full, Math.min(full[1] - full[0], 4 * (full[1] - full[0]) / Math.max(timeline.last, 1)));
  comparison?.addEventListener('shift', () => view.extend(fullSpan(motion, comparison)));
  return {motion, timeline, view, comparison};
}

// What only a run on the ground has.
function addGround(page) {
  if (!page.motion.standing) return [];
  byId('standing').hidden = false;
  for (const part of document.querySelectorAll('.stands')) part.hidden = false;
  byId('support').hidden = !page.motion.standing.soles.some(({corners}) => corners);
  addVerdict(byId('verdict'), byId('spans'), byId('flags'), page.motion, page.timeline);
  const charts = addGroundCharts(byId('ground-panels'), page);
  addTopView(byId('ground-panels'), page.motion, page.timeline);
  return charts;
}

const borne = ({standing}) => standing ?
    'Torques of the robot on the ground, with the forces shown at its soles.' :
    'Torques of the motion in the air: gravity and inertia are borne at the root, no contact carries the feet.';

function show(motion) {
  const timeline = new Timeline(motion.time);
  const page = makePage(motion, timeline);
  const peaks = motion.joints.map(({peak}) => peak);
  const selection = new Selection(peaks.indexOf(Math.max(...peaks)));

  showFacts(motion);
  byId('ground').textContent = motion.ground.text;
  byId('between').textContent = between(motion);
  byId('borne').textContent = borne(motion);
  addControls(page, {
    play: byId('play'),
    back: byId('back'),
    forward: byId('forward'),
    slider: byId('slider'),
    clock: byId('clock'),
    speed: byId('speed'),
  });
  addTools(byId('tools'), page);
  const charts = [
    ...addGround(page),
    ...addTorquePanels(byId('torque-panels'), byId('same-scale'), page, selection),
    ...addComCharts(byId('com-panel'), byId('same-length'), page),
  ];
  addPeaks(byId('peaks-head'), byId('peaks-body'), motion, timeline, selection);
  const figure = addFigure(byId('stage'), byId('views'), motion, timeline, selection);

  if (!matchMedia('(prefers-reduced-motion: reduce)').matches) timeline.play();

  // For the console of a browser: korvel.figure.robot.spheres() and the like.
  globalThis.korvel = {...page, selection, charts, figure};
}

readMotion(byId('data').textContent).then(show).catch((error) => {
  byId('failure').textContent = `This page cannot be shown: ${error.message}. It needs a browser of 2023 or later.`;
  byId('failure').hidden = false;
  throw error;
});
