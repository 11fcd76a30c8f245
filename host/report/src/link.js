// A link to a time of the page.

// Returns the time in `#t=0.6` at the end of the page's address, or undefined.
export const timeIn = (hash) => {
  const time = Number(/^#t=(-?[\d.]+)$/.exec(hash)?.[1]);
  return Number.isFinite(time) ? time : undefined;
};

// Goes to the time of the page's address, and keeps the address at the time that is shown while nothing plays. Returns
// whether the address had a time.
export function addLink(timeline) {
  const follow = () => {
    const time = timeIn(location.hash);
    if (time !== undefined) timeline.goToTime(time);
    return time !== undefined;
  };
  const linked = follow();
  addEventListener('hashchange', follow);
  // A browser refuses more than a few changes a second.
  let waiting;
  const write = () => {
    clearTimeout(waiting);
    waiting = setTimeout(() => {
      const time = Number(timeline.time[timeline.here.value].toFixed(6));
      if (!timeline.playing.value) history.replaceState(null, '', `#t=${time}`);
    }, 200);
  };
  for (const value of [timeline.here, timeline.playing, timeline.shift]) value.watch(write);
  return linked;
}
