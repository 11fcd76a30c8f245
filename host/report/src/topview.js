// The ground from above, x upwards and y to the left: soles, what they span, zero moment point, centre of mass, forces.
import {cornersAt, forceAt, supportPolygon} from './data/contact.js';
import {extent} from './data/numbers.js';
import {element, set, shape} from './dom.js';
import {watch} from './state.js';

const margin = 0.04;    // m, around what is shown
const widest = 0.9;     // m: of a motion that goes further, what is near the robot
const per_newton = 0.004;  // m, of the horizontal force
const most_samples = 200;

// From metres in the world to millimetres of the picture.
const to_picture = 'matrix(0 -1000 -1000 0 0 0)';
const pointsOf = (points) => points.map(([x, y]) => `${x.toFixed(5)},${y.toFixed(5)}`).join(' ');
const at = ([x, y], sample) => [x[sample], y[sample]];

// Where all soles, centres of pressure and the centre of mass go: the centre and the half sizes, x and y [m].
function boundsOf({time, com, bodies, standing}) {
  const points = [];
  const stride = Math.ceil(time.length / most_samples);
  for (let sample = 0; sample < time.length; sample += stride) {
    points.push(at(com, sample));
    for (const sole of standing.soles) points.push(at(sole.pressure, sample), ...cornersAt({bodies}, sole, sample));
  }
  const extents = [0, 1].map((axis) => extent([points.map((point) => point[axis])]));
  const half = extents.map(([low, high]) => (high - low) / 2 + margin);
  const follows = Math.max(...half) > widest / 2;
  if (follows) return {follows, centre: [0, 0], half: [widest / 2, widest / 2]};
  return {follows, centre: extents.map(([low, high]) => (low + high) / 2), half};
}

export function addTopView(panels, {motion, timeline}) {
  const {standing, com, bodies} = motion;
  const {follows, centre, half} = boundsOf(motion);
  const polygon = shape('polygon', {class: 'support'});
  const soles = standing.soles.map(({name, body}) => {
    const parts = {
      outline: shape('polygon', {class: 'sole'}),
      arrow: shape('line', {class: 'shear'}),
      dot: shape('circle', {class: 'pressure', r: 0.004}),
    };
    return {...parts, all: shape('g', {class: bodies[body].side, 'data-sole': name}, ...Object.values(parts))};
  });
  const points = [[com, 'com', 0.008], [standing.zmp, 'zmp', 0.004]].map(([columns, kind, r]) => ({
    columns,
    trace: shape('polyline', {class: `trace ${kind}`, points: pointsOf(Array.from(columns[0], (_, s) => at(columns, s)))}),
    dot: shape('circle', {class: `spot ${kind}`, r}),
  }));
  const scene = shape('g', {}, polygon, ...soles.map(({all}) => all), ...points.map(({trace}) => trace),
                      ...points.map(({dot}) => dot));
  const [left, top] = [1, 0].map((axis) => -1000 * (centre[axis] + half[axis]));
  const [height, width] = half.map((v) => 2000 * v);
  const picture = shape('svg', {
    viewBox: [left, top, width, height].map((v) => v.toFixed(1)).join(' '),
    role: 'img',
    'aria-label': 'The ground from above: soles, support polygon, zero moment point and centre of mass',
  }, scene, shape('g', {class: 'scale'}, shape('path', {d: `M${left + 12} ${top + height - 12}h100`}),
                  shape('text', {x: left + 118, y: top + height - 7}, '10 cm')));
  const heading = element('h3', {}, 'From above', element('small', {}, 'forward is up'));
  panels.append(element('section', {class: 'panel top-view'}, heading, picture));

  watch([timeline.sample], () => {
    const sample = timeline.sample.value;
    set(polygon, {points: pointsOf(supportPolygon(motion, sample))});
    standing.soles.forEach((sole, i) => {
      const {outline, arrow, dot, all} = soles[i];
      const [x, y] = at(sole.pressure, sample);
      const [fx, fy] = forceAt(sole, sample);
      all.classList.toggle('lifted', !sole.contact[sample]);
      set(outline, {points: pointsOf(cornersAt(motion, sole, sample))});
      set(arrow, {x1: x, y1: y, x2: x + per_newton * fx, y2: y + per_newton * fy});
      set(dot, {cx: x, cy: y});
    });
    for (const {columns, dot} of points) set(dot, {cx: columns[0][sample], cy: columns[1][sample]});
    const [x, y] = at(com, sample);
    set(scene, {transform: follows ? `${to_picture} translate(${-x} ${-y})` : to_picture});
  });
}
