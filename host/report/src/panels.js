// The charts of the page, each with a heading and the values at the time shown.
import {Chart} from './charts.js';
import {colour, curveColour, curveDash, curveName} from './colours.js';
import {element} from './dom.js';
import {extent} from './motion.js';
import {text} from './numbers.js';

const least_span = 1e-3;  // m, of a curve of the centre of mass: rounding is not drawn as motion

function padded(low, high) {
  const pad = 0.08 * (high - low) || Math.abs(high) || 1;
  return [low - pad, high + pad];
}

function badge(side) {
  return side === 'middle' ? '' : element('b', {class: `badge ${side}`, 'aria-hidden': true}, side[0].toUpperCase());
}

// A legend entry is a button that selects its curve.
function entry(motion, selection, j) {
  const {name, level, torque} = motion.joints[j];
  const swatch = element('i', {class: 'swatch'});
  swatch.style.setProperty('--curve', `var(--${curveName(level)})`);
  const value = element('span', {class: 'value'});
  const button = element('button', {type: 'button', class: 'entry', 'data-joint': name}, swatch,
                         element('span', {class: 'name'}, name), value);
  button.addEventListener('click', () => selection.select(j));
  return {
    button,
    show: (sample) => value.textContent = text(torque.values[sample]),
    select: (selected) => button.setAttribute('aria-pressed', selected),
  };
}

function torquePanel(motion, limb, timeline, selection, range) {
  const entries = limb.joints.map((j) => entry(motion, selection, j));
  const place = element('div', {class: 'chart', role: 'img', 'aria-label': `Torques of ${limb.name} over time`});
  const panel = element('section', {class: `panel ${limb.side}`}, element('h3', {}, badge(limb.side), limb.name), place,
                        element('div', {class: 'legend'}, ...entries.map(({button}) => button)));
  return {
    panel,
    mount() {
      const curves = limb.joints.map((j) => {
        const {level, torque} = motion.joints[j];
        return {...torque, stroke: () => curveColour(level), dash: curveDash(level)};
      });
      const chart = new Chart(place, timeline, motion.drawnTime, {
        height: limb.side === 'middle' ? 96 : 134,
        curves,
        range,
        onCurve: (i) => selection.select(limb.joints[i]),
      });
      const showTime = () => entries.forEach(({show}) => show(timeline.sample));
      const showJoint = () => {
        const selected = limb.joints.indexOf(selection.joint);
        entries.forEach(({select}, i) => select(i === selected));
        chart.emphasize(selected < 0 ? null : selected);
      };
      timeline.addEventListener('time', showTime);
      selection.addEventListener('joint', showJoint);
      showTime();
      showJoint();
      return chart;
    },
  };
}

export function addTorquePanels(place, same_scale, motion, timeline, selection) {
  const all = padded(...extent(motion.joints.map(({torque}) => torque.drawn)));
  const range = (low, high) => same_scale.checked ? all : padded(low, high);
  const panels = motion.limbs.map((limb) => torquePanel(motion, limb, timeline, selection, range));
  place.append(...panels.map(({panel}) => panel));
  const charts = panels.map(({mount}) => mount());
  same_scale.addEventListener('change', () => charts.forEach((chart) => chart.rescale()));
  return charts;
}

// One below the other on one time axis; on demand lengths are drawn to one scale.
export function addComCharts(panel, same_length, motion, timeline) {
  const extents = motion.comCurves.map(({drawn}) => extent([drawn]));
  const spans = extents.map(([low, high]) => Math.max(high - low, least_span));
  const longest = Math.max(...spans);
  const charts = ['x', 'y', 'z'].map((name, axis) => {
    const [low, high] = extents[axis];
    const middle = (low + high) / 2;
    const value = element('span', {class: 'value', 'data-com': name});
    const place = element('div', {class: 'chart', role: 'img', 'aria-label': `Centre of mass, ${name}, over time`});
    panel.append(element('h3', {}, name, value), place);
    const range = () => {
      const half = 0.6 * (same_length.checked ? longest : spans[axis]);
      return [middle - half, middle + half];
    };
    const bottom = axis === motion.com.length - 1;
    const chart = new Chart(place, timeline, motion.drawnTime, {
      height: bottom ? 82 : 58,
      curves: [{...motion.comCurves[axis], stroke: () => colour('com')}],
      range,
      shows_time: bottom,
      space: 15,
    });
    chart.emphasize(0);
    const showTime = () => value.textContent = text(motion.com[axis][timeline.sample]);
    timeline.addEventListener('time', showTime);
    showTime();
    return chart;
  });
  same_length.addEventListener('change', () => charts.forEach((chart) => chart.rescale()));
  return charts;
}
