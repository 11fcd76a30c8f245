// Play, pause, steps, the slider, what acts on all curves, and the keys that do the same.
import {onKeys} from './dom.js';
import {watch} from './state.js';

const big_step = 10;

export function addControls({timeline, view}, {play, back, forward, slider, clock, speed, help, keys: list}) {
  const seconds = (sample) => timeline.time[sample].toFixed(3);
  for (const control of [play, back, forward, slider]) control.disabled = timeline.last === 0;
  watch([timeline.here, timeline.shift], () => {
    slider.max = timeline.last;
    const now = seconds(timeline.here.value);
    slider.value = timeline.here.value;
    slider.setAttribute('aria-valuetext', `${now} s`);
    clock.textContent = `${now} / ${seconds(timeline.last)} s`;
  });
  watch([timeline.playing], () => {
    play.setAttribute('aria-label', timeline.playing.value ? 'Pause' : 'Play');
  });
  play.addEventListener('click', () => timeline.toggle());
  back.addEventListener('click', () => timeline.step(-1));
  forward.addEventListener('click', () => timeline.step(1));
  slider.addEventListener('input', () => timeline.goTo(Number(slider.value)));
  speed.addEventListener('change', () => timeline.speed = Number(speed.value));
  help.addEventListener('click', () => list.showModal());
  const keys = {
    ' ': () => timeline.toggle(),
    ArrowLeft: ({shiftKey}) => timeline.step(shiftKey ? -big_step : -1),
    ArrowRight: ({shiftKey}) => timeline.step(shiftKey ? big_step : 1),
    Home: () => timeline.goTo(0),
    End: () => timeline.goTo(timeline.last),
    m: () => view.toggleMark(timeline.time[timeline.here.value]),
    '?': () => list.showModal(),
    Escape: () => view.reset(),
  };
  // A key keeps a meaning of its own, such as arrows in a list and space on a button.
  onKeys(document, keys, ({key, target}) => target !== slider &&
      (list.open || target.closest('select, input') || (key === ' ' && target.closest('button'))));
}

export function addTools({motion, timeline, view}, {mark, apart, 'all-times': all, shift}) {
  watch([timeline.sample, timeline.shift, view.mark, view.span], () => {
    const marked = view.mark.value;
    mark.textContent = marked === null ? 'Second cursor' : 'Remove second cursor';
    apart.textContent = marked === null ? 'Drag over a curve to zoom.' :
        `at ${marked.toFixed(3)} s, Δt ${(timeline.now - marked).toFixed(3)} s`;
    all.hidden = !view.zoomed;
  });
  mark.addEventListener('click', () => view.toggleMark(timeline.time[timeline.here.value]));
  all.addEventListener('click', () => view.reset());
  shift.closest('label').hidden = !motion.other;
  shift.addEventListener('input', () => {
    if (Number.isFinite(shift.valueAsNumber)) timeline.shift.value = shift.valueAsNumber;
  });
}
