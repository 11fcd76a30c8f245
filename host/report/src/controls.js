// Play, pause, steps, the slider and the keys that do the same.
const big_step = 10;

export function addControls({timeline, view}, {play, back, forward, slider, clock, speed}) {
  const seconds = (t) => t.toFixed(3);
  const end = seconds(timeline.time[timeline.last]);
  const showTime = () => {
    const now = seconds(timeline.time[timeline.here]);
    slider.value = timeline.here;
    slider.setAttribute('aria-valuetext', `${now} s`);
    clock.textContent = `${now} / ${end} s`;
  };
  const showState = () => {
    play.classList.toggle('playing', timeline.playing);
    play.setAttribute('aria-label', timeline.playing ? 'Pause' : 'Play');
  };
  slider.max = timeline.last;
  for (const control of [play, back, forward, slider]) control.disabled = timeline.last === 0;
  timeline.addEventListener('time', showTime);
  timeline.addEventListener('state', showState);
  showTime();
  showState();

  play.addEventListener('click', () => timeline.toggle());
  back.addEventListener('click', () => timeline.step(-1));
  forward.addEventListener('click', () => timeline.step(1));
  slider.addEventListener('input', () => {
    timeline.pause();
    timeline.set(Number(slider.value));
  });
  speed.addEventListener('change', () => timeline.speed = Number(speed.value));
  addKeys(timeline, view, slider);
}

function addKeys(timeline, view, slider) {
  const keys = {
    ' ': () => timeline.toggle(),
    ArrowLeft: ({shiftKey}) => timeline.step(shiftKey ? -big_step : -1),
    ArrowRight: ({shiftKey}) => timeline.step(shiftKey ? big_step : 1),
    Home: () => timeline.step(-timeline.last),
    End: () => timeline.step(timeline.last),
    m: () => view.setMark(view.mark === timeline.here ? null : timeline.here),
    Escape: () => view.reset(),
  };
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || !Object.hasOwn(keys, event.key)) return;
    // Where a key has a meaning of its own it keeps that: space on a button, arrows in a list.
    if (event.target !== slider && event.target.closest('select, input')) return;
    if (event.key === ' ' && event.target.closest('button')) return;
    event.preventDefault();
    keys[event.key](event);
  });
}
