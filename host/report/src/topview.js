// The ground from above, x upwards and y to the left: soles, what they span, zero moment point, centre of mass, forces.
import {cornersAt, forceAt, supportPolygon} from './data/contact.js';
import {element, shape} from './dom.js';

const margin = 0.04;    // m, around what is shown
const widest = 0.9;     // m: of a motion that goes further, what is near the robot
const per_newton = 0.004;  // m, of the horizontal force
const most_samples = 200;

// Millimetres of the picture.
const place = ([x, y]) => [-1000 * y, -1000 * x];
const pointsOf = (points) => points.map((point) => place(point).map((v) => v.toFixed(2)).join(',')).join(' ');
const at = ([x, y], sample) => [x[sample], y[sample]];

// The box of all soles, centres of pressure and the centre of mass in the picture.
function boxOf({time, com, bodies, standing}) {
  const points = [];
  const stride = Math.ceil(time.length / most_samples);
  for (let sample = 0; sample < time.length; sample += stride) {
    points.push(at(com, sample));
    for (const sole of standing.soles) {
      points.push(at(sole.pressure, sample), ...cornersAt({bodies}, sole, sample));
    }
  }
  const [xs, ys] = [0, 1].map((axis) => points.map((point) => place(point)[axis]));
  const low = [Math.min(...xs), Math.min(...ys)].map((v) => v - 1000 * margin);
  return {low, size: [Math.max(...xs) - low[0], Math.max(...ys) - low[1]].map((v) => v + 1000 * margin)};
}

export function addTopView(panels, motion, timeline) {
  const {standing, com, bodies} = motion;
  const box = boxOf(motion);
  const follows = Math.max(...box.size) > 1000 * widest;
  if (follows) Object.assign(box, {low: [-500 * widest, -500 * widest], size: [1000 * widest, 1000 * widest]});
  const trace = (columns, kind) =>
      shape('polyline', {class: `trace ${kind}`, points: pointsOf(Array.from(columns[0], (_, s) => at(columns, s)))});
  const polygon = shape('polygon', {class: 'support'});
  const soles = standing.soles.map(({name, body}) => {
    const side = bodies[body].side;
    const dot = shape('circle', {class: 'pressure', r: 4});
    const arrow = shape('line', {class: 'shear'});
    const outline = shape('polygon', {class: 'sole'});
    return {outline, arrow, dot, all: shape('g', {class: side, 'data-sole': name}, outline, arrow, dot)};
  });
  const points = [[com, 'com'], [standing.zmp, 'zmp']].map(
      ([columns, kind]) => ({columns, dot: shape('circle', {class: `spot ${kind}`, r: kind === 'com' ? 8 : 4})}));
  const scene = shape('g', {}, polygon, ...soles.map(({all}) => all), trace(com, 'com'), trace(standing.zmp, 'zmp'),
                      ...points.map(({dot}) => dot));
  const [left, top] = box.low;
  const [width, height] = box.size;
  const scale = shape('g', {class: 'scale'},
                      shape('path', {d: `M${left + 12} ${top + height - 12}h100`}),
                      shape('text', {x: left + 118, y: top + height - 7}, '10 cm'));
  const picture = shape('svg', {
    viewBox: [...box.low, ...box.size].map((v) => v.toFixed(1)).join(' '),
    role: 'img',
    'aria-label': 'The ground from above: soles, support polygon, zero moment point and centre of mass',
  }, scene, scale);
  const heading = element('h3', {}, 'From above', element('small', {}, 'forward is up'));
  panels.append(element('section', {class: 'panel top-view'}, heading, picture));

  const move = (dot, [x, y]) => Object.entries({cx: x, cy: y}).forEach(([name, v]) => dot.setAttribute(name, v.toFixed(2)));
  const show = () => {
    const {sample} = timeline;
    polygon.setAttribute('points', pointsOf(supportPolygon(motion, sample)));
    standing.soles.forEach((sole, i) => {
      const {outline, arrow, dot, all} = soles[i];
      const from = at(sole.pressure, sample);
      const [fx, fy] = forceAt(sole, sample);
      const ends = [from, [from[0] + per_newton * fx, from[1] + per_newton * fy]].map(place);
      all.classList.toggle('lifted', !sole.contact[sample]);
      outline.setAttribute('points', pointsOf(cornersAt(motion, sole, sample)));
      ['x1', 'y1', 'x2', 'y2'].forEach((name, j) => arrow.setAttribute(name, ends.flat()[j].toFixed(2)));
      move(dot, ends[0]);
    });
    for (const {columns, dot} of points) move(dot, place(at(columns, sample)));
    if (follows) scene.setAttribute('transform', `translate(${place(at(com, sample)).map((v) => -v).join(' ')})`);
  };
  timeline.addEventListener('time', show);
  show();
}
