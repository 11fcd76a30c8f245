// The table of the joints' peak torques. A heading sorts, a row selects its joint and goes to the time of its peak.
import {signed, text, visible} from './data/numbers.js';
import {button, element} from './dom.js';
import {watch} from './state.js';

// A file of results by the name of its motion.
const stem = ({file}) => visible(file).replace(/(-results)?\.csv$/, '');

function columnsOf({runs: [a, b]}) {
  const name = {name: 'Joint', of: ({name}) => name, first: 1};
  const peak = {name: b ? `A ${stem(a)}` : 'N m', label: 'peak torque in N m', of: ({peak}) => peak, first: -1, class: 'number peak'};
  const at = {name: 'at s', label: 'time of the peak in s', of: ({at}) => at, show: (s) => s.toFixed(3), first: 1, class: 'number at'};
  if (!b) return [name, peak, at];
  const other = {name: `B ${stem(b)}`, label: 'peak torque of B in N m', of: ({other}) => other.peak, first: -1, class: 'number'};
  const label = 'difference of the peaks in N m';
  const difference = ({peak, other}) => other.peak - peak;
  return [name, peak, other, {name: 'B − A', label, of: difference, show: signed, first: -1, class: 'number difference'}];
}

const compare = (a, b) => typeof a === 'string' ? a.localeCompare(b, 'en') : a - b;

export function addPeaks({'peaks-head': head, 'peaks-body': body}, {motion, timeline, joint: selected}) {
  const shown = columnsOf(motion);
  body.closest('table').classList.toggle('compares', motion.other !== undefined);
  const joints = motion.joints.map((joint) => ({...joint, at: motion.time[joint.peakSample]}));
  const largest = Math.max(...joints.map(({peak}) => peak)) || 1;
  const rows = joints.map((joint, j) => {
    // The button is for the keyboard; its click is one on the row.
    const row = element('tr', {'data-joint': joint.name, class: joint.small ? 'small' : '', style: `--share: ${joint.peak / largest}`},
                        element('th', {scope: 'row'}, element('button', {type: 'button'}, joint.name)));
    row.append(...shown.slice(1).map(({of, show = text, class: kind}) => element('td', {class: kind}, show(of(joint)))));
    row.addEventListener('click', () => {
      timeline.goToTime(joint.at);
      selected.value = j;
    });
    return row;
  });

  let sorted = null;
  let direction = 1;
  const sort = (column) => {
    direction = sorted === column ? -direction : column.first;
    sorted = column;
    const order = [...joints.keys()];
    order.sort((a, b) => direction * compare(column.of(joints[a]), column.of(joints[b])) || a - b);
    body.append(...order.map((j) => rows[j]));
    [...head.children].forEach((cell, i) => {
      const state = shown[i] === sorted ? (direction > 0 ? 'ascending' : 'descending') : 'none';
      cell.setAttribute('aria-sort', state);
    });
  };
  head.append(...shown.map((column) => element(
      'th', {scope: 'col', class: column.class ?? ''},
      button({'aria-label': `Sort by ${column.label ?? column.name}`}, () => sort(column), column.name))));
  sort(shown[1]);

  watch([selected], () => rows.forEach((row, j) => {
    row.classList.toggle('selected', j === selected.value);
    row.querySelector('button').setAttribute('aria-pressed', j === selected.value);
  }));
}
