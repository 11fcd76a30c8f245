// The table of the joints' peak torques. A heading sorts, a row selects its joint and goes to the time of its peak.
import {text} from './data/numbers.js';
import {element} from './dom.js';

const own_columns = [
  {name: 'Joint', of: ({name}) => name, first: 1},
  {name: 'Limb', of: ({limb}) => limb.name, first: 1, class: 'limb'},
  {name: 'N m', label: 'peak torque in N m', of: ({peak}) => peak, first: -1, class: 'number'},
  {name: 'at s', label: 'time of the peak in s', of: ({at}) => at, first: 1, class: 'number at'},
];

const other_columns = [
  {name: 'B', label: 'peak torque of B in N m', of: ({other}) => other.peak, first: -1, class: 'number'},
  {name: 'B − A', label: 'difference of the peaks in N m', of: ({peak, other}) => other.peak - peak, first: -1, class: 'number'},
];

const compare = (a, b) => typeof a === 'string' ? a.localeCompare(b, 'en') : a - b;

const difference = ({peak, other}) => `${other.peak < peak ? '−' : '+'}${text(Math.abs(other.peak - peak))}`;

function rowOf(joint, j, largest, timeline, selection) {
  const button = element('button', {type: 'button', class: 'joint'}, joint.name);
  const bar = element('i', {class: 'share'});
  bar.style.setProperty('--share', joint.peak / largest);
  const row = element('tr', {'data-joint': joint.name}, element('th', {scope: 'row'}, button),
                      element('td', {class: 'limb'}, joint.limb.name),
                      element('td', {class: 'number'}, element('div', {class: 'peak'}, bar, text(joint.peak))),
                      element('td', {class: 'number at'}, joint.at.toFixed(3)));
  if (joint.other) {
    row.append(element('td', {class: 'number'}, text(joint.other.peak)),
               element('td', {class: 'number', 'data-difference': ''}, difference(joint)));
  }
  // The button is for the keyboard; its click is one on the row.
  row.addEventListener('click', () => {
    timeline.pause();
    timeline.set(joint.peakSample);
    selection.select(j);
  });
  return row;
}

export function addPeaks(head, body, motion, timeline, selection) {
  body.closest('table').classList.toggle('compares', motion.other !== undefined);
  const columns = motion.other ? [...own_columns, ...other_columns] : own_columns;
  const joints = motion.joints.map((joint) => ({...joint, at: motion.time[joint.peakSample]}));
  const largest = Math.max(...joints.map(({peak}) => peak)) || 1;
  const rows = joints.map((joint, j) => rowOf(joint, j, largest, timeline, selection));
  const heads = columns.map(({name, label = name, class: kind = ''}) => element(
      'th', {scope: 'col', class: kind}, element('button', {type: 'button', 'aria-label': `Sort by ${label}`}, name)));

  let sorted = {};
  const sort = (column, direction) => {
    sorted = {column, direction};
    const order = joints.map((_, j) => j);
    order.sort((a, b) => direction * compare(column.of(joints[a]), column.of(joints[b])) || a - b);
    body.append(...order.map((j) => rows[j]));
    heads.forEach((cell, i) => {
      const state = columns[i] === column ? (direction > 0 ? 'ascending' : 'descending') : 'none';
      cell.setAttribute('aria-sort', state);
    });
  };
  heads.forEach((cell, i) => cell.firstChild.addEventListener('click', () => {
    const column = columns[i];
    sort(column, sorted.column === column ? -sorted.direction : column.first);
  }));
  head.append(...heads);
  sort(columns[2], -1);

  const showJoint = () => rows.forEach((row, j) => {
    row.classList.toggle('selected', j === selection.joint);
    row.querySelector('button').setAttribute('aria-pressed', j === selection.joint);
  });
  selection.addEventListener('joint', showJoint);
  showJoint();
}
