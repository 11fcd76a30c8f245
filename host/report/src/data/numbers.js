// Numbers and names as text, and places in columns of numbers. Numbers are of any size in single precision and do not grow long.

const longest = 1e5;  // from here on with an exponent

const exponential = (value, digits) => value.toExponential(digits).replace('e+', 'e');

export const text = (value, digits = 4) =>
    Math.abs(value) < longest ? value.toFixed(digits) : exponential(value, digits);

export const signed = (value) => (value < 0 ? '−' : '+') + text(Math.abs(value));

// Rounds as the summary of `run` does: {:.3g}.
export const three = (value) => String(Number(value.toPrecision(3)));

export const whole = (value) => value.toLocaleString('en');

// A name in which nothing is hidden or turns what stands around it.
export const visible = (name) => name.replace(
    /[\p{Cc}\p{Bidi_Control}\p{Zl}\p{Zp}]/gu,
    (character) => `\u27e8U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, '0')}\u27e9`);

const magnitude = (value) => Math.floor(Math.log10(value) + 1e-9);

// The texts of ticks, with the digits that tell these apart.
export function tickTexts(values) {
  const largest = Math.max(...values.map(Math.abs));
  const step = magnitude(values.length > 1 ? values[1] - values[0] : largest || 1);
  return values.map((value) => {
    if (largest < longest) return value.toFixed(Math.max(-step, 0));
    return value === 0 ? '0' : exponential(value, Math.max(magnitude(Math.abs(value)) - step, 0));
  });
}

// A number of single precision with as few digits as give it back.
export function single(value) {
  const texts = [6, 7, 8, 9].map((digits) => Number(value.toPrecision(digits)));
  return String(texts.find((shorter) => Math.fround(shorter) === value) ?? value);
}

// The lowest and the highest number of some columns.
export function extent(columns) {
  let low = Infinity;
  let high = -Infinity;
  for (const column of columns) {
    for (const value of column) {
      if (value < low) low = value;
      if (value > high) high = value;
    }
  }
  return [low, high];
}

// The spans of samples at which `flags` have the value, each with its `first` and `last`.
export function spansOf(flags, value) {
  const spans = [];
  flags.forEach((flag, sample) => {
    if (flag !== value) return;
    const before = spans[spans.length - 1];
    if (before?.last === sample - 1) before.last = sample;
    else spans.push({first: sample, last: sample});
  });
  return spans;
}

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
