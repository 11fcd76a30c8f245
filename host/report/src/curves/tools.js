// What acts on all curves: the second cursor, the span of time, and the shift of a second run.
import {element} from '../dom.js';

export function addTools(place, {timeline, view, comparison}) {
  const mark = element('button', {
    type: 'button',
    title: 'Puts it to the time shown, or takes it away (m, or shift and a press on a curve)',
  });
  const apart = element('output', {class: 'value', id: 'apart'});
  const all = element('button', {type: 'button', id: 'all-times', title: 'Double press on a curve, or Escape'}, 'All times');
  place.append(mark, apart, all);

  const show = () => {
    mark.textContent = view.mark === null ? 'Second cursor' : 'Remove second cursor';
    apart.textContent = view.mark === null ? 'Drag over a curve to zoom.' :
        `at ${timeline.time[view.mark].toFixed(3)} s, Δt ${(timeline.now - timeline.time[view.mark]).toFixed(3)} s`;
    all.hidden = !view.zoomed;
  };
  mark.addEventListener('click', () => view.setMark(view.mark === null ? timeline.here : null));
  all.addEventListener('click', () => view.reset());
  timeline.addEventListener('time', show);
  view.addEventListener('mark', show);
  view.addEventListener('span', show);
  show();

  if (!comparison) return;
  const shift = element('input', {type: 'number', id: 'shift', step: '0.01', value: '0'});
  shift.addEventListener('input', () => {
    if (Number.isFinite(shift.valueAsNumber)) comparison.setShift(shift.valueAsNumber);
  });
  place.append(element('label', {class: 'check'}, 'B, dashed, later by', shift, 's'));
}
