// The charts of the page, each with a heading and the values at the time shown.
import {colour, curveColour, curveDash, curveName} from '../colours.js';
import {extent} from '../data/motion.js';
import {element} from '../dom.js';
import {Chart} from './charts.js';
import {onReading, reading} from './reading.js';
import {saveButtons} from './save.js';

const least_span = 1e-3;  // m, of a curve of the centre of mass: rounding is not drawn as motion

function padded(low, high) {
  const pad = 0.08 * (high - low) || Math.abs(high) || 1;
  return [low - pad, high + pad];
}

function badge(side) {
  return side === 'middle' ? '' : element('b', {class: `badge ${side}`, 'aria-hidden': true}, side[0].toUpperCase());
}

// All that is drawn of curves, those of the second run included.
const allDrawn = (curves) => curves.flatMap(({drawn, other}) => other ? [drawn, other.drawn] : [drawn]);

// A legend entry is a button that selects its curve.
function entry(page, selection, j) {
  const {motion} = page;
  const {name, level, torque} = motion.joints[j];
  const swatch = element('i', {class: 'swatch'});
  swatch.style.setProperty('--curve', `var(--${curveName(level)})`);
  const value = element('span', {class: 'value'});
  const button = element('button', {type: 'button', class: 'entry', 'data-joint': name}, swatch,
                         element('span', {class: 'name'}, name), value);
  button.addEventListener('click', () => selection.select(j));
  return {
    button,
    show: () => value.textContent = reading(torque, page),
    select: (selected) => button.setAttribute('aria-pressed', selected),
  };
}

function torquePanel(page, limb, selection, range) {
  const {motion} = page;
  const entries = limb.joints.map((j) => entry(page, selection, j));
  let chart = null;
  const place = element('div', {class: 'chart', role: 'img', 'aria-label': `Torques of ${limb.name} over time`});
  const save = saveButtons(page, `Torques of ${limb.name}`, () => chart);
  const panel = element('section', {class: `panel ${limb.side}`}, element('h3', {}, badge(limb.side), limb.name, save), place,
                        element('div', {class: 'legend'}, ...entries.map(({button}) => button)));
  return {
    panel,
    mount() {
      const curves = limb.joints.map((j) => {
        const {name, level, torque} = motion.joints[j];
        return {...torque, name: `${name}_torque`, stroke: () => curveColour(level), dash: curveDash(level)};
      });
      chart = new Chart(place, page, {
        height: limb.side === 'middle' ? 96 : 134,
        curves,
        range,
        onCurve: (i) => selection.select(limb.joints[i]),
      });
      onReading(page, () => entries.forEach(({show}) => show()));
      const showJoint = () => {
        const selected = limb.joints.indexOf(selection.joint);
        entries.forEach(({select}, i) => select(i === selected));
        chart.emphasize(selected < 0 ? null : selected);
      };
      selection.addEventListener('joint', showJoint);
      showJoint();
      return chart;
    },
  };
}

export function addTorquePanels(place, same_scale, page, selection) {
  const {motion} = page;
  const all = padded(...extent(allDrawn(motion.joints.map(({torque}) => torque))));
  const range = (low, high) => same_scale.checked ? all : padded(low, high);
  const panels = motion.limbs.map((limb) => torquePanel(page, limb, selection, range));
  place.append(...panels.map(({panel}) => panel));
  const charts = panels.map(({mount}) => mount());
  same_scale.addEventListener('change', () => charts.forEach((chart) => chart.rescale()));
  return charts;
}

// One below the other on one time axis; on demand lengths are drawn to one scale.
export function addComCharts(panel, same_length, page) {
  const {motion} = page;
  const extents = motion.comCurves.map((curve) => extent(allDrawn([curve])));
  const spans = extents.map(([low, high]) => Math.max(high - low, least_span));
  const longest = Math.max(...spans);
  const charts = ['x', 'y', 'z'].map((name, axis) => {
    const [low, high] = extents[axis];
    const middle = (low + high) / 2;
    const value = element('span', {class: 'value', 'data-com': name});
    const place = element('div', {class: 'chart', role: 'img', 'aria-label': `Centre of mass, ${name}, over time`});
    let chart = null;
    panel.append(element('h3', {}, name, value, saveButtons(page, `Centre of mass, ${name}`, () => chart)), place);
    const range = () => {
      const half = 0.6 * (same_length.checked ? longest : spans[axis]);
      return [middle - half, middle + half];
    };
    const bottom = axis === motion.com.length - 1;
    chart = new Chart(place, page, {
      height: bottom ? 82 : 58,
      curves: [{...motion.comCurves[axis], name: `com_${name}`, stroke: () => colour('com')}],
      range,
      shows_time: bottom,
      space: 15,
    });
    chart.emphasize(0);
    onReading(page, () => value.textContent = reading(motion.comCurves[axis], page));
    return chart;
  });
  same_length.addEventListener('change', () => charts.forEach((chart) => chart.rescale()));
  return charts;
}

// The vertical force on each sole, and how far the zero moment point is within the support polygon.
export function addGroundCharts(place, page) {
  const {motion} = page;
  const {soles, margin} = motion.standing;
  const sided = (curve, body) => ({...curve, stroke: () => colour(`load-${motion.bodies[body].side}`), dash: []});
  const panels = [
    {
      title: 'Vertical force',
      unit: 'N',
      curves: soles.map(({name, body, load}) => ({...sided(load, body), name: `${name}_force_z`, label: name, of: body})),
    },
    {
      title: 'Margin',
      unit: 'm',
      curves: [{...margin, name: 'zmp_margin', label: 'zero moment point to the edge', stroke: () => colour('zmp'), dash: []}],
    },
  ];
  return panels.map(({title, unit, curves}) => {
    let chart = null;
    const values = curves.map(({name}) => element('span', {class: 'value', 'data-ground': name}));
    const chart_place = element('div', {class: 'chart', role: 'img', 'aria-label': `${title} over time`});
    const legend = curves.map(({label, of}, i) => {
      const swatch = element('i', {class: 'swatch'});
      swatch.style.setProperty('--curve', `var(--${of === undefined ? 'zmp' : `load-${motion.bodies[of].side}`})`);
      return element('div', {class: 'entry'}, swatch, element('span', {class: 'name'}, label), values[i]);
    });
    place.append(element('section', {class: 'panel'},
                         element('h3', {}, title, element('small', {}, unit), saveButtons(page, title, () => chart)),
                         chart_place, element('div', {class: 'legend'}, ...legend)));
    // The level at which a foot carries nothing, or the robot tips, is seen.
    const range = (low, high) => padded(Math.min(low, 0), Math.max(high, 0));
    chart = new Chart(chart_place, page, {height: 118, curves, range});
    if (curves.length === 1) chart.emphasize(0);
    onReading(page, () => curves.forEach((curve, i) => values[i].textContent = reading(curve, page)));
    return chart;
  });
}
