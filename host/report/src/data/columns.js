// The numbers of the page, as the command packs them: see packed_columns.h.

async function inflated(base64) {
  const bytes = Uint8Array.from(atob(base64), (character) => character.charCodeAt(0));
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// The bytes of `count` numbers, one after the other, from all lowest bytes, then all next ones.
function byNumber(bytes, count) {
  const width = bytes.length / count;
  const numbers = new Uint8Array(bytes.length);
  for (let i = 0; i < bytes.length; ++i) numbers[(i % count) * width + Math.floor(i / count)] = bytes[i];
  return numbers.buffer;
}

// Sums of sums of an Int32Array, which are as it was before the differences were taken.
function summed(integers) {
  let difference = 0;
  let value = 0;
  return integers.map((second) => {
    difference = (difference + second) | 0;
    return value = (value + difference) | 0;
  });
}

// `samples`: how many each column has. Gives the time and the integers of the columns.
export async function unpack(base64, samples) {
  const bytes = await inflated(base64);
  const time_size = samples * Float64Array.BYTES_PER_ELEMENT;
  const column_size = samples * Int32Array.BYTES_PER_ELEMENT;
  const columns = [];
  for (let start = time_size; start < bytes.length; start += column_size) {
    columns.push(summed(new Int32Array(byNumber(bytes.subarray(start, start + column_size), samples))));
  }
  return {time: new Float64Array(byNumber(bytes.subarray(0, time_size), samples)), columns};
}

export const exact = (integers) => new Float32Array(integers.buffer);
export const rounded = (integers, unit) => Float32Array.from(integers, (integer) => integer * unit);
