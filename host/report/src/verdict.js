// Whether the ground bears the motion: the spans that it does not, in a list and on the time line.
import {whole} from './data/numbers.js';
import {element} from './dom.js';

const most_listed = 12;
const marks = 1000;  // along the time line: spans closer than that are one mark

function worstOf({residual}, {first, last}) {
  let worst = first;
  for (let sample = first; sample <= last; ++sample) if (residual[sample] > residual[worst]) worst = sample;
  return worst;
}

const between = ({first, last}, time) => [...new Set([first, last])].map((sample) => time[sample].toFixed(3)).join(' – ');

// As shares of the time line, which goes by samples.
function marksOf(spans, last) {
  const all = [];
  for (const span of spans) {
    const from = Math.floor((span.first / last) * marks);
    const to = Math.ceil((span.last / last) * marks);
    const before = all[all.length - 1];
    if (before && from <= before.to) before.to = Math.max(before.to, to);
    else all.push({from, to});
  }
  return all;
}

export function addVerdict(verdict, list, flags, {standing, time, stride}, timeline) {
  const {spans, residual} = standing;
  const count = spans.reduce((sum, {first, last}) => sum + last - first + 1, 0);
  verdict.textContent = count === 0 ? 'The ground bears the motion throughout.' :
      `The ground cannot bear ${whole(count)} of ${whole(time.length)} samples${stride > 1 ? ' shown' : ''}. ` +
          'How much of the weight is missing at most:';
  verdict.classList.toggle('unborne', count > 0);
  for (const span of spans.slice(0, most_listed)) {
    const worst = worstOf(standing, span);
    const button = element('button', {type: 'button', 'data-first': span.first, 'data-last': span.last},
                           `${between(span, time)} s: ${(100 * residual[worst]).toFixed(1)} %`);
    button.addEventListener('click', () => {
      timeline.pause();
      timeline.set(span.first);
    });
    list.append(element('li', {}, button));
  }
  if (spans.length > most_listed) list.append(element('li', {}, `and ${whole(spans.length - most_listed)} more`));
  flags.append(...marksOf(spans, Math.max(timeline.last, 1)).map(({from, to}) => {
    const mark = element('i');
    Object.assign(mark.style, {left: `${(100 * from) / marks}%`, width: `${(100 * (to - from)) / marks}%`});
    return mark;
  }));
}
