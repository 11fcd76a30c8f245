// The time that all parts of the page show: always that of a sample, so that every number shown is one of the files.
import {nearestSample, sampleBefore} from './data/numbers.js';
import {Value} from './state.js';

// The times of the first run, and of a second one those before and after.
export function joined([{time}, other], shift) {
  if (!other) return time;
  const shifted = Array.from(other.time, (t) => t + shift);
  return Float64Array.from([...shifted.filter((t) => t < time[0]), ...time, ...shifted.filter((t) => t > time.at(-1))]);
}

export class Timeline {
  // The sample that was set: playing and steps go on from it. And the one that is shown: the same, or the one under the
  // pointer.
  here = new Value(0);
  sample = new Value(0);
  playing = new Value(false);
  shift = new Value(0);  // s, from the times of the second run to those that are shown
  speed = 1;
  #frame;

  constructor(runs) {
    this.runs = runs;
    this.time = joined(runs, 0);
    this.shift.watch(() => {
      const [here, {now}] = [this.time[this.here.value], this];
      this.time = joined(runs, this.shift.value);
      this.here.value = nearestSample(this.time, here);
      this.sample.value = nearestSample(this.time, now);
    });
  }
  get last() {
    return this.time.length - 1;
  }
  get now() {
    return this.time[this.sample.value];
  }
  shiftOf(run) {
    return run === this.runs[0] ? 0 : this.shift.value;
  }
  // The sample of a run nearest to a time: the first before it begins, the last after its end.
  nearest(run, time = this.now) {
    return nearestSample(run.time, time - this.shiftOf(run));
  }
  // The same, undefined before it begins and after its end.
  within(run, time = this.now) {
    const own = time - this.shiftOf(run);
    return own >= run.time[0] && own <= run.time.at(-1) ? nearestSample(run.time, own) : undefined;
  }

  // Goes to a time of a run.
  goToTime(time, run = this.runs[0]) {
    this.goTo(nearestSample(this.time, time + this.shiftOf(run)));
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
    let position = this.now;
    let before = performance.now();
    const frame = (now) => {
      this.#frame = requestAnimationFrame(frame);
      // A page in the background gets no frames: then the motion waits.
      position += Math.min(Math.max(now - before, 0) / 1000, 0.25) * this.speed;
      before = now;
      this.#set(sampleBefore(this.time, position));
      if (this.here.value === this.last) this.pause();
    };
    this.#frame = requestAnimationFrame(frame);
  }
  pause() {
    if (this.playing.value) cancelAnimationFrame(this.#frame);
    this.playing.value = false;
  }
  toggle() {
    this.playing.value ? this.pause() : this.play();
  }

  #set(sample) {
    this.here.value = Math.min(Math.max(sample, 0), this.last);
    this.sample.value = this.here.value;
  }
}
