// The numbers of the page, as the command packs them: see packed_columns.h.

async function inflated(base64) {
  const bytes = Uint8Array.from(atob(base64), (character) => character.charCodeAt(0));
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// The columns, each with this many `samples`.
export async function unpack(base64, samples) {
  const width = Float32Array.BYTES_PER_ELEMENT;
  const bytes = await inflated(base64);
  return Array.from({length: bytes.length / (width * samples)}, (_, column) => {
    const planes = bytes.subarray(width * samples * column);
    const numbers = new Uint32Array(new Uint8Array(width * samples).map(
        (_, i) => planes[(i % width) * samples + Math.floor(i / width)]).buffer);
    // Sums of sums of the second differences, modulo 2^32.
    for (let pass = 0; pass < 2; ++pass) {
      for (let i = 1; i < samples; ++i) numbers[i] += numbers[i - 1];
    }
    return new Float32Array(numbers.buffer);
  });
}
