"use strict";
// The blocks of numbers that the page carries, compressed; report/packed.hpp says how they are made. A block is read when
// one of its curves is first drawn, and kept.

const blockCache = new Map();

// A promise of {facts, arrays: name -> Float64Array}.
function loadBlock(number) {
  if (!blockCache.has(number)) blockCache.set(number, readBlock(number));
  return blockCache.get(number);
}

async function readBlock(number) {
  const text = document.getElementById("block" + number).textContent;
  const packed = Uint8Array.from(atob(text), character => character.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
  const bytes = new Uint8Array(await new Response(stream).arrayBuffer());
  const headLength = new DataView(bytes.buffer).getUint32(0, true);
  const facts = JSON.parse(new TextDecoder().decode(bytes.subarray(4, 4 + headLength)));
  const arrays = {};
  let at = 4 + headLength;
  // Seven bits a byte, the lowest first, the sign in the lowest bit of all. Multiplied, not shifted: numbers may be longer
  // than 32 bits.
  const number_ = () => {
    let value = 0, factor = 1;
    for (;;) {
      const byte = bytes[at++];
      value += (byte & 127) * factor;
      if (byte < 128) break;
      factor *= 128;
    }
    return value % 2 ? -(value + 1) / 2 : value / 2;
  };
  for (const [name, count, step, form] of facts.arrays) {
    const values = new Float64Array(count);
    if (form === "exact") {
      const view = new DataView(bytes.buffer, at);
      for (let k = 0; k < count; ++k) values[k] = view.getFloat32(4 * k, true);
      at += 4 * count;
    } else {
      let before = 0;
      for (let k = 0; k < count; ++k) {
        before = form === "curve" ? before + number_() : number_();
        values[k] = before * step;
      }
    }
    arrays[name] = values;
  }
  if (facts.scale) {
    const [first, count] = facts.scale;
    arrays.scale = Float64Array.from({length: count}, (_, k) => 1000 * 2 ** ((first + k) / 96));
    // Smoother curves keep every second or fourth point, and the last.
    for (const [smoothing, stride] of [[48, 1], [24, 1], [12, 2], [6, 4], [3, 4]])
      arrays["scale." + smoothing] = arrays.scale.filter((_, k) => k % stride === 0 || k === count - 1);
    Object.assign(arrays, extremes(arrays.samples, facts.rate));
  }
  return {facts, arrays};
}

// Of samples the lowest and the highest in each of many parts, in their order: what a screen can show.
function extremes(samples, rate) {
  const parts = Math.min(600, samples.length), x = [], y = [];
  for (let part = 0; part < parts; ++part) {
    const first = Math.floor(part * samples.length / parts), end = Math.floor((part + 1) * samples.length / parts);
    let low = first, high = first;
    for (let k = first; k < end; ++k) {
      if (samples[k] < samples[low]) low = k;
      if (samples[k] > samples[high]) high = k;
    }
    for (const k of low === high ? [low] : low < high ? [low, high] : [high, low]) {
      x.push(1000 * k / rate);
      y.push(samples[k]);
    }
  }
  return {"impulse.x": Float64Array.from(x), "impulse.y": Float64Array.from(y)};
}
