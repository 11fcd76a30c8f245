// These functions show whether the robot stays on its feet and within its limits, in the words of the summary of `run`: in
// the header, in lists of intervals and of limits, in tables of margins, and on the time line.
import {kinds} from './data/motion.js';
import {nearestSample, three, visible} from './data/numbers.js';
import {button, element, inColour} from './dom.js';
import {watch} from './state.js';

const most_listed = 100;

// Returns a list of the first of these, and how many follow; `item` returns the children of one.
function listOf(all, item) {
  const more = all.length > most_listed ? [[`and ${all.length - most_listed} more`]] : [];
  const items = [...all.slice(0, most_listed).map(item), ...more];
  return element('ul', {class: 'spans'}, ...items.map((children) => element('li', {}, ...children)));
}

const seconds = (time) => `${time.toFixed(3)}\u00a0s`;
const runName = (run, {runs}) => runs.length > 1 ? 'AB'[runs.indexOf(run)] : '';

// Returns the worst reason, or the margin.
function groundText({ground, origin = 0}) {
  if (!ground) return 'is held in the air, no ground contact';
  const {cannot_stand: intervals, in_flight: flight, margins} = ground.summary;
  if (intervals.length > 0) {
    const {text, excess, missing} = intervals.reduce((a, b) => b.missing.value > a.missing.value ? b : a);
    const count = `${intervals.length} interval${intervals.length > 1 ? 's' : ''}`;
    return `${text} at ${seconds((excess ?? missing).time - origin)}, ${count}`;
  }
  if (!margins.zmp_inside) return 'is in flight throughout';
  return `stays on its feet${flight ? ' in all other samples' : ''}, ${three(1000 * margins.zmp_inside.value)} mm of margin`;
}

const exceededBy = ({limits}) => limits?.uses.filter(({samples}) => samples > 0) ?? [];

// Returns one line for a run.
export const verdictText = (run) => [groundText(run), run.limits?.verdict.trim()].filter(Boolean).join('; ');

const peakOf = ({joints}) => joints.reduce((a, b) => b.peak > a.peak ? b : a);
export function peakText(run) {
  const {name, peak, peakSample} = peakOf(run);
  return `largest torque ${three(peak)} N m, ${name} at ${seconds(run.time[peakSample])}`;
}

// The intervals with numbers that are not finite, and the calls that brought them.
export function addGaps(place, {motion: {gaps, time}, timeline}) {
  place.append(listOf(gaps, ({first, last, call}) => {
    const between = [...new Set([first, last])].map((sample) => time[sample].toFixed(3)).join(' – ');
    return [button({}, () => timeline.goToTime(time[first]), `${between} s`), ` NaN or infinity: ${visible(call)}`];
  }));
}

export function addVerdicts(place, {motion, timeline}) {
  place.append(...motion.runs.map((run) => {
    const fails = run.ground?.summary.cannot_stand.length > 0 || exceededBy(run).length > 0;
    const state = fails ? 'unborne' : run.ground ? 'support' : 'muted';
    const go = () => timeline.goToTime(run.time[peakOf(run).peakSample], run);
    return element('li', {class: 'verdict'}, element('i', {class: 'dot square', style: inColour(state)}),
                   element('b', {}, runName(run, motion) || 'The robot'), ` ${verdictText(run)}; `, button({}, go, peakText(run)));
  }));
}

// Lists the exceeded limits of each run. A press selects the joint and goes to the first sample that exceeds the limit.
export function addExceeded(place, {motion, timeline, joint: selected}) {
  place.hidden = !motion.runs.some(({limits}) => limits);
  place.append(...motion.runs.map((run) => listOf(exceededBy(run), ({joint, limit, value, reached, samples, first}) => {
    const unit = kinds[limit] ?? kinds.angle;
    const time = first - run.origin;
    const go = () => {
      selected.value = run.joints.findIndex(({name}) => name === joint);
      timeline.goToTime(time, run);
    };
    const words = `${joint} ${limit} reaches ${three(reached)} ${unit}, limit ${three(value)} ${unit}; ${
        samples} sample${samples > 1 ? 's' : ''} from ${seconds(time)}`;
    return [element('b', {}, runName(run, motion)), ' ', button({}, go, words)];
  })));
}

const intervals = (run, {timeline}) => listOf(run.ground.summary.cannot_stand, ({from, to, text, missing}) => {
  const [first, last, worst] = [from, to, missing.time].map((time) => time - run.origin);
  const words = `${first.toFixed(3)} to ${seconds(last)}  ${text}; ${
      (100 * missing.value).toFixed(1)} % of the weight unsupported at ${seconds(worst)}`;
  return [button({}, () => timeline.goToTime(worst, run), words)];
});

function table({heading, columns, rows}, run, {timeline}) {
  const at = ({value, time}) =>
      button({title: `at ${seconds(time - run.origin)}`}, () => timeline.goToTime(time - run.origin, run), value);
  return element('table', {},
      element('thead', {}, element('tr', {}, ...[heading, ...columns].map((name) => element('th', {scope: 'col'}, name)))),
      element('tbody', {}, ...rows.map(({words, cells}) => element(
          'tr', {}, element('th', {scope: 'row'}, words), ...cells.map((cell) => element('td', {}, cell ? at(cell) : '–'))))));
}

// The verdict, intervals and margins of each run on the ground.
export function addStanding({intervals: list, margins, flags}, page) {
  const {motion, timeline} = page;
  for (const run of motion.runs.filter(({ground}) => ground)) {
    const name = runName(run, motion);
    const title = () => name ? [element('b', {}, `${name} `)] : [];
    const {verdict, tables} = run.ground.summary;
    list.append(element('p', {}, ...title(), verdict.trim().replace(/\s+/g, ' ')), intervals(run, page));
    margins.append(...title(), ...tables.map((one) => table(one, run, page)));
  }
  // Marks the intervals that the ground cannot support on the time line, which goes by samples.
  watch([timeline.shift], () => flags.replaceChildren(...motion.runs.map((run) => {
    const place = (sample) => 100 * nearestSample(timeline.time, run.time[sample] + timeline.shiftOf(run)) / Math.max(timeline.last, 1);
    return element('div', {}, ...(run.ground?.spans ?? []).map(({first, last}) => element(
        'i', {style: `left: ${place(first)}%; width: ${place(last) - place(first)}%`})));
  })));
}
