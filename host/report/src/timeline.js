// The time that all parts of the page show: always that of a sample, so that every number shown is one of the file.
// Events: `time` when another sample is shown, `state` when playing begins or ends.
export class Timeline extends EventTarget {
  #sample = 0;
  #preview = null;
  #playing = false;
  #position = 0;
  speed = 1;

  constructor(time) {
    super();
    this.time = time;
  }

  get last() {
    return this.time.length - 1;
  }
  get playing() {
    return this.#playing;
  }
  // The sample that is shown: the one under the pointer, or else the one that was set.
  get sample() {
    return this.#preview ?? this.#sample;
  }
  get now() {
    return this.time[this.sample];
  }
  // The sample that was set: playing and steps go on from it.
  get here() {
    return this.#sample;
  }

  set(sample) {
    this.#preview = null;
    this.#sample = Math.min(Math.max(sample, 0), this.last);
    this.#position = this.time[this.#sample];
    this.dispatchEvent(new Event('time'));
  }
  step(samples) {
    this.pause();
    this.set(this.#sample + samples);
  }
  // Shows a sample without going there; null goes back. Not while playing.
  preview(sample) {
    if (this.#playing || sample === this.#preview) return;
    this.#preview = sample;
    this.dispatchEvent(new Event('time'));
  }

  // The last sample that is not later than `time`, or the first.
  before(time) {
    let low = 0;
    let high = this.last;
    while (low < high) {
      const middle = Math.ceil((low + high) / 2);
      if (this.time[middle] <= time) low = middle;
      else high = middle - 1;
    }
    return low;
  }
  nearest(time) {
    const sample = this.before(time);
    const next = Math.min(sample + 1, this.last);
    return this.time[next] - time < time - this.time[sample] ? next : sample;
  }

  play() {
    if (this.#playing || this.last === 0) return;
    this.set(this.#sample === this.last ? 0 : this.#sample);
    this.#setPlaying(true);
    let before = performance.now();
    const frame = (now) => {
      if (!this.#playing) return;
      // A page in the background gets no frames: then the motion waits.
      this.#advance(Math.min(Math.max(now - before, 0) / 1000, 0.25) * this.speed);
      before = now;
      requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  }
  pause() {
    if (this.#playing) this.#setPlaying(false);
  }
  toggle() {
    if (this.#playing) this.pause();
    else this.play();
  }

  #advance(seconds) {
    const position = this.#position + seconds;
    this.set(this.before(position));
    this.#position = position;
    if (this.#sample === this.last) this.pause();
  }
  #setPlaying(playing) {
    this.#playing = playing;
    this.dispatchEvent(new Event('state'));
  }
}
