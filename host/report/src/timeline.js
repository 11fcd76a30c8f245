// The time that all parts of the page show: always that of a sample, so that every number shown is one of the file.
import {Value} from './state.js';

// The last of increasing times that is not later than `time`, or the first.
export function sampleBefore(times, time) {
  let low = 0;
  let high = times.length - 1;
  while (low < high) {
    const middle = Math.ceil((low + high) / 2);
    if (times[middle] <= time) low = middle;
    else high = middle - 1;
  }
  return low;
}

export function nearestSample(times, time) {
  const sample = sampleBefore(times, time);
  const next = Math.min(sample + 1, times.length - 1);
  return times[next] - time < time - times[sample] ? next : sample;
}

export class Timeline {
  // The sample that was set: playing and steps go on from it. And the one that is shown: the same, or the one under the
  // pointer.
  here = new Value(0);
  sample = new Value(0);
  playing = new Value(false);
  speed = 1;
  #position = 0;

  constructor(time) {
    this.time = time;
    this.last = time.length - 1;
  }
  get now() {
    return this.time[this.sample.value];
  }

  goTo(sample) {
    this.pause();
    this.#set(sample);
  }
  step(samples) {
    this.goTo(this.here.value + samples);
  }
  // Shows a sample without going there, unless the motion plays.
  preview(sample) {
    if (!this.playing.value) this.sample.value = sample;
  }

  play() {
    if (this.playing.value || this.last === 0) return;
    this.#set(this.here.value === this.last ? 0 : this.here.value);
    this.playing.value = true;
    let before = performance.now();
    const frame = (now) => {
      if (!this.playing.value) return;
      // A page in the background gets no frames: then the motion waits.
      this.#advance(Math.min(Math.max(now - before, 0) / 1000, 0.25) * this.speed);
      before = now;
      requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  }
  pause() {
    this.playing.value = false;
  }
  toggle() {
    if (this.playing.value) this.pause();
    else this.play();
  }

  #set(sample) {
    this.here.value = Math.min(Math.max(sample, 0), this.last);
    this.sample.value = this.here.value;
    this.#position = this.time[this.here.value];
  }
  #advance(seconds) {
    const position = this.#position + seconds;
    this.#set(sampleBefore(this.time, position));
    this.#position = position;
    if (this.here.value === this.last) this.pause();
  }
}
