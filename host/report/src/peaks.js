// The table of the joints' peak torques. A heading sorts, a row selects its joint and goes to the time of its peak.
import {signed, text, visible} from './data/numbers.js';
import {button, element} from './dom.js';
import {watch} from './state.js';

// A file of results by the name of its motion.
const stem = ({file}) => visible(file).replace(/(-results)?\.csv$/, '');

// The columns of the table: `of` returns what a joint has there, which is sorted upwards first if `first` is 1.
function columnsOf({runs: [a, b]}) {
  const number = (name, label, of, more) => ({name, label, of, show: text, first: -1, class: '', ...more});
  const joint = {name: 'Joint', label: 'Joint', of: ({name}) => name, first: 1, class: ''};
  const peakOf = ({peak}) => peak;
  const label = 'peak torque in N m';
  if (b) {
    return [joint, number(`A ${stem(a)}`, label, peakOf), number(`B ${stem(b)}`, 'peak torque of B in N m', ({other}) => other.peak),
            number('B − A', 'difference of the peaks in N m', ({peak, other}) => other.peak - peak, {show: signed, class: 'difference'})];
  }
  return [joint, number('N m', label, peakOf, {class: 'peak'}),
          number('at s', 'time of the peak in s', ({at}) => at, {show: (s) => s.toFixed(3), first: 1})];
}

const compare = (a, b) => typeof a === 'string' ? a.localeCompare(b, 'en') : a - b;

export function addPeaks({'peaks-head': head, 'peaks-body': body}, {motion, timeline, joint: selected}) {
  const shown = columnsOf(motion);
  const joints = motion.joints.map((joint) => ({...joint, at: motion.time[joint.peakSample]}));
  const largest = Math.max(...joints.map(({peak}) => peak)) || 1;
  const rows = joints.map((joint, j) => {
    // The button is for the keyboard; its click is one on the row.
    const row = element('tr', {'data-joint': joint.name, class: joint.small ? 'small' : '', style: `--share: ${joint.peak / largest}`},
                        element('th', {scope: 'row'}, element('button', {type: 'button'}, joint.name)),
                        ...shown.slice(1).map(({of, show, class: kind}) => element('td', {class: kind}, show(of(joint)))));
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
    const state = direction > 0 ? 'ascending' : 'descending';
    [...head.children].forEach((cell, i) => cell.ariaSort = shown[i] === sorted ? state : 'none');
  };
  head.append(...shown.map((column) => element(
      'th', {scope: 'col'}, button({'aria-label': `Sort by ${column.label}`}, () => sort(column), column.name))));
  sort(shown[1]);

  watch([selected], () => rows.forEach(
      (row, j) => row.querySelector('button').setAttribute('aria-pressed', j === selected.value)));
}
