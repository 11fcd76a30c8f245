// Whether the robot stays on its feet: the intervals in which it does not, in a list and on the time line.
import {visible, whole} from './data/numbers.js';
import {button, element} from './dom.js';

const most_listed = 12;
const marks = 1000;  // along the time line: spans closer than that are one mark

const lengthOf = (spans) => spans.reduce((sum, {first, last}) => sum + last - first + 1, 0);

// The verdict of a run, as in its summary. A robot is in flight if no sole is in contact and no force is required.
export function verdictText({spans, flight}, {time, stride}) {
  const all = `${whole(time.length)} samples${stride > 1 ? ' shown' : ''}`;
  const [unborne, flying] = [spans, flight].map(lengthOf);
  const parts = [];
  if (flying === time.length) parts.push('The robot is in flight throughout: no sole is near the ground.');
  else if (flying > 0) parts.push(`The robot is in flight in ${whole(flying)} of ${all}: no sole is near the ground.`);
  if (unborne > 0) {
    parts.push(`The robot cannot stay on its feet: ${whole(unborne)} of ${all}. Largest share of the weight that is unsupported:`);
  } else if (flying < time.length) {
    parts.push(`The robot stays on its feet ${flying > 0 ? 'in all other samples' : 'throughout'}.`);
  }
  return parts.join(' ');
}

const between = ({first, last}, time) => [...new Set([first, last])].map((sample) => time[sample].toFixed(3)).join(' – ');

// As shares of the time line, which goes by samples.
export function marksOf(spans, last) {
  const all = [];
  for (const span of spans) {
    const from = Math.floor((span.first / last) * marks);
    const to = Math.ceil((span.last / last) * marks);
    const before = all.at(-1);
    if (before && from <= before.to) before.to = Math.max(before.to, to);
    else all.push({from, to});
  }
  return all;
}

// The intervals with numbers that are not finite, and the calls that brought them.
export function addGaps(list, {motion: {gaps, time}, timeline}) {
  list.append(...gaps.slice(0, most_listed).map((gap) => element(
      'li', {}, button({}, () => timeline.goTo(gap.first), `${between(gap, time)} s`), ` NaN or infinity: ${visible(gap.call)}`)));
  if (gaps.length > most_listed) list.append(element('li', {}, `and ${whole(gaps.length - most_listed)} more`));
}

export function addVerdict({verdict, spans: list, flags}, {motion, timeline}) {
  const {standing: {spans, residual}, time} = motion;
  verdict.textContent = verdictText(motion.standing, motion);
  verdict.classList.toggle('unborne', spans.length > 0);
  list.append(...spans.slice(0, most_listed).map((span) => {
    const worst = Math.max(...residual.subarray(span.first, span.last + 1));
    return element('li', {}, button({}, () => timeline.goTo(span.first), `${between(span, time)} s: ${(100 * worst).toFixed(1)} %`));
  }));
  if (spans.length > most_listed) list.append(element('li', {}, `and ${whole(spans.length - most_listed)} more`));
  flags.append(...marksOf(spans, Math.max(timeline.last, 1)).map(
      ({from, to}) => element('i', {style: `left: ${(100 * from) / marks}%; width: ${(100 * (to - from)) / marks}%`})));
}
