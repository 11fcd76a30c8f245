import 'uplot/dist/uPlot.min.css';
import './colours.css';
import './parts.css';
import './page.css';

import {addControls} from './controls.js';
import {element} from './dom.js';
import {addFigure} from './figure.js';
import {readMotion} from './motion.js';
import {visible, whole} from './numbers.js';
import {addComCharts, addTorquePanels} from './panels.js';
import {addPeaks} from './peaks.js';
import {Selection} from './selection.js';
import {Timeline} from './timeline.js';

const byId = (id) => document.getElementById(id);

function showFacts({file, time, origin, samples, shown, joints, bodies, mass}) {
  document.title = `${visible(file)} – motion report`;
  byId('file').textContent = visible(file);
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

function show(motion) {
  const timeline = new Timeline(motion.time);
  const peaks = motion.joints.map(({peak}) => peak);
  const selection = new Selection(peaks.indexOf(Math.max(...peaks)));

  showFacts(motion);
  byId('ground').textContent = motion.ground.text;
  byId('between').textContent = between(motion);
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
}

readMotion(byId('data').textContent).then(show).catch((error) => {
  byId('failure').textContent = `This page cannot be shown: ${error.message}. It needs a browser of 2023 or later.`;
  byId('failure').hidden = false;
  throw error;
});
