import 'uplot/dist/uPlot.min.css';
import './colours.css';
import './parts.css';
import './page.css';

import {addControls, addTools} from './controls.js';
import {addComCharts, addGroundCharts, addJointCharts, addTorquePanels} from './curves/panels.js';
import {View} from './curves/view.js';
import {readMotion} from './data/motion.js';
import {visible, whole} from './data/numbers.js';
import {addFigure} from './figure/figure.js';
import {addLink} from './link.js';
import {addPeaks} from './peaks.js';
import {Value} from './state.js';
import {Timeline} from './timeline.js';
import {addTopView} from './topview.js';
import {addExceeded, addGaps, addStanding, addVerdicts} from './verdict.js';

// The elements of the page that have an id, by it.
const parts = Object.fromEntries([...document.querySelectorAll('[id]')].map((part) => [part.id, part]));

function showFacts({runs, other, time, origin, samples, shown, stride, joints, bodies, mass, floor, ground}) {
  const name = other ? runs.map(({file}, i) => `${'AB'[i]} ${visible(file)}`).join(', ') : visible(runs[0].file);
  document.title = `${name} – motion report`;
  const texts = {
    file: name,
    duration: `${(time.at(-1) - time[0]).toFixed(3)} s`,
    origin: `${origin} s`,
    samples: shown === samples ? samples : `${whole(shown)} of ${whole(samples)} shown`,
    robot: `${bodies.length} bodies, ${joints.length} joints`,
    mass: `${mass.toFixed(3)} kg`,
    ground: floor.text,
    between: shown === samples ? '' :
        `Shows ${whole(shown)} of ${whole(samples)} samples: one in ${stride}, and those of the peaks. Curves are drawn
         through the lowest and the highest values of all.`,
  };
  for (const [id, text] of Object.entries(texts)) parts[id].textContent = text;
  parts.facts.hidden = false;
  parts.origin.parentElement.hidden = origin === 0;
  for (const part of document.querySelectorAll('.stands, .held')) part.hidden = part.matches('.stands') !== Boolean(ground);
  parts.ghost.hidden = !other;
  parts.applied.hidden = !bodies.some(({applied_force}) => applied_force);
}

// Joints of small torques are folded away.
function addFold({motion, folds}) {
  const count = motion.joints.filter(({small}) => small).length;
  parts.fold.closest('label').hidden = count === 0;
  parts['fold-count'].textContent = `show ${count} joint${count === 1 ? '' : 's'} below 1 % of the largest torque`;
  parts.fold.addEventListener('change', () => folds.value = !parts.fold.checked);
}

function show(motion) {
  const peaks = motion.joints.map(({peak}) => peak);
  const timeline = new Timeline(motion.runs);
  // `joint` is shown more than the others by figure, curves and table; `folds` says whether small ones are not shown.
  const joint = new Value(peaks.indexOf(Math.max(...peaks)));
  const page = {motion, timeline, view: new View(timeline), joint, folds: new Value(!parts.fold.checked), charts: []};
  showFacts(motion);
  addVerdicts(parts.verdicts, page);
  addStanding(parts, page);
  addExceeded(parts.limits, page);
  addControls(page, parts);
  addTools(page, parts);
  addFold(page);
  addGaps(parts.gaps, page);
  if (motion.ground) {
    addGroundCharts(parts['top-view'], page);
    addTopView(parts, page);
  }
  addJointCharts(parts['joint-panels'], parts['joint-title'], page);
  addTorquePanels(parts['torque-panels'], parts['same-scale'], page);
  addComCharts(parts['com-panel'], parts['same-length'], page);
  for (const box of [parts['same-scale'], parts['same-length']]) {
    box.addEventListener('change', () => page.charts.forEach((chart) => chart.show()));
  }
  addPeaks(parts, page);
  const figure = addFigure(parts, page);
  const linked = addLink(timeline);
  if (!linked && !matchMedia('(prefers-reduced-motion: reduce)').matches) timeline.play();
  if (KORVEL_HOOKS) globalThis.korvel = {...page, figure};
}

readMotion(parts.data.textContent).then(show).catch((error) => {
  parts.failure.textContent = `This page cannot be shown: ${error.message}. It needs a browser of 2024 or later.`;
  parts.failure.hidden = false;
  throw error;
});
