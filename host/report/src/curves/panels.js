// The charts of the page, each with a heading and the values at the time shown.
import {curveName} from '../colours.js';
import {kinds} from '../data/motion.js';
import {extent} from '../data/numbers.js';
import {button, element, inColour} from '../dom.js';
import {watch} from '../state.js';
import {Chart} from './charts.js';
import {reading, readingChanges} from './reading.js';
import {saveButtons} from './save.js';

const least_span = 1e-3;  // m, of a curve of the centre of mass: rounding is not drawn as motion

function padded(low, high) {
  const pad = 0.08 * (high - low) || Math.abs(high) || 1;
  return [low - pad, high + pad];
}

// All that is drawn of curves, those of the second run included.
const extentOf = (curves) => extent(curves.flatMap(({drawn, other}) => other ? [drawn, other.drawn] : [drawn]));

// Returns a chart, and the parts of its panel: a heading, with buttons that save it, and its place.
function makeChart(page, title, heading, options) {
  const place = element('div', {class: 'chart', role: 'img', 'aria-label': `${title} over time`});
  const chart = new Chart(place, page, options);
  page.charts.push(chart);
  return {chart, parts: [element('h3', {}, ...heading, saveButtons(page, title, chart)), place]};
}

function makeValue(page, curve, attributes = {'data-curve': curve.name}) {
  const value = element('span', {class: 'value', ...attributes});
  watch(readingChanges(page), () => value.textContent = reading(curve, page));
  return value;
}

const legendOf = (page, curves, entry) => element('div', {class: 'legend'}, ...curves.map((curve, i) => entry(
    i, element('i', {class: 'swatch', style: inColour(curve.colour)}), element('span', {class: 'name'}, curve.label),
    makeValue(page, curve))));

// A chart for each limb. An entry of a legend is a button that selects its joint.
export function addTorquePanels(place, same_scale, page) {
  const {motion, joint, folds} = page;
  const all = padded(...extentOf(motion.joints.map(({torque}) => torque)));
  for (const {name: limb, side, joints} of motion.limbs) {
    const curves = joints.map((j) => {
      const {name, level, torque} = motion.joints[j];
      return {...torque, label: name, colour: curveName(level)};
    });
    const small = joints.map((j) => motion.joints[j].small);
    const fold = (is_small) => is_small ? 'small' : '';
    const badge = side === 'middle' ? [] : [element('b', {class: 'badge', style: inColour(`side-${side}`), 'aria-hidden': true}, side[0].toUpperCase())];
    const {chart, parts} = makeChart(page, `Torques of ${limb}`, [...badge, limb], {
      height: side === 'middle' ? 96 : 134,
      curves,
      range: (low, high) => same_scale.checked ? all : padded(low, high),
    });
    const legend = legendOf(page, curves, (i, ...children) =>
      button({class: `entry ${fold(small[i])}`, 'data-joint': curves[i].label}, () => joint.value = joints[i], ...children));
    watch([joint], () => {
      const selected = joints.indexOf(joint.value);
      [...legend.children].forEach((entry, i) => entry.setAttribute('aria-pressed', i === selected));
      chart.emphasize(selected);
    });
    watch([folds], () => chart.hide(small.map((is_small) => is_small && folds.value)));
    place.append(element('section', {class: `panel ${side} ${fold(small.every(Boolean))}`}, ...parts, legend));
  }
}

// The torque of the selected joint, and its angle, speed and power, against its limits.
export function addJointCharts(place, title, page) {
  const {motion, joint} = page;
  const curveOf = (kind) => {
    const {limits, [kind]: curve} = motion.joints[joint.value];
    const {lower, upper, speed, torque} = limits;
    const ends = {angle: [lower, upper], speed: [-speed, speed], torque: [-torque, torque]}[kind] ?? [];
    return {...curve, colour: 'ink', limits: ends.filter(Number.isFinite)};
  };
  watch([joint], () => title.textContent = `Selected joint: ${motion.joints[joint.value].name}`);
  for (const [kind, unit] of Object.entries(kinds)) {
    const curve = curveOf(kind);
    const heading = [kind[0].toUpperCase() + kind.slice(1), element('small', {}, unit)];
    const {chart, parts} = makeChart(page, `Selected joint, ${kind}`, heading, {height: 110, curves: [curve], range: padded, strong: 0, space: 15});
    joint.watch(() => {
      Object.assign(curve, curveOf(kind));
      chart.show();
    });
    place.append(element('section', {class: 'panel'}, ...parts,
                         element('div', {class: 'entry'}, makeValue(page, curve, {'data-joint-curve': kind}))));
  }
}

// One below the other on one time axis; on demand lengths are drawn to one scale.
export function addComCharts(panel, same_length, page) {
  const extents = ['x', 'y', 'z'].map((axis) => extentOf([page.motion.curves.get(`com_${axis}`)]));
  const spans = extents.map(([low, high]) => Math.max(high - low, least_span));
  ['x', 'y', 'z'].forEach((axis, i) => {
    const curve = {...page.motion.curves.get(`com_${axis}`), colour: 'com'};
    const middle = (extents[i][0] + extents[i][1]) / 2;
    const {parts} = makeChart(page, `Centre of mass, ${axis}`, [axis, makeValue(page, curve)], {
      height: axis === 'z' ? 82 : 58,
      curves: [curve],
      range() {
        const half = 0.6 * (same_length.checked ? Math.max(...spans) : spans[i]);
        return [middle - half, middle + half];
      },
      strong: 0,
      shows_time: axis === 'z',
      space: 15,
    });
    panel.append(...parts);
  });
}

// The vertical force on each sole, and how far the zero moment point is within the support polygon.
export function addGroundCharts(next, page) {
  const {bodies, ground: {soles}, curves: all} = page.motion;
  const forces = soles.map(({name, body, force}) => ({...force[2], label: name, colour: `side-${bodies[body].side}`}));
  const zmp = {...all.get('zmp_margin'), label: 'zero moment point to the edge', colour: 'zmp'};
  for (const [title, unit, curves, strong] of [['Vertical force', 'N', forces, -1], ['Margin', 'm', [zmp], 0]]) {
    // The level at which a foot carries nothing, or the robot tips, is seen.
    const range = (low, high) => padded(Math.min(low, 0), Math.max(high, 0));
    const {parts} = makeChart(page, title, [title, element('small', {}, unit)], {height: 112, curves, range, strong});
    const legend = legendOf(page, curves, (_, ...children) => element('div', {class: 'entry'}, ...children));
    next.before(element('section', {class: 'panel'}, ...parts, legend));
  }
}
