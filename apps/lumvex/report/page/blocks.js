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
  const packed = bytesOf(text);
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
  for (const [name, count, step, form, more] of facts.arrays) {
    if (form === "samples") facts.sampleStep = step;
    const values = new Float64Array(count);
    if (form === "exact") {
      const view = new DataView(bytes.buffer, at);
      for (let k = 0; k < count; ++k) values[k] = view.getFloat32(4 * k, true);
      at += 4 * count;
    } else if (form === "even") {
      for (let k = 0; k < count; ++k) values[k] = more + k * step;
    } else if (form === "map") {
      for (let k = 0; k < count; ++k)
        values[k] = number_() * step + (k % more ? values[k - 1] : 0) + (k >= more ? values[k - more] : 0) - (k % more && k >= more ? values[k - more - 1] : 0);
    } else {
      let before = 0;
      for (let k = 0; k < count; ++k) {
        before = form === "curve" ? before + number_() : number_();
        values[k] = before * step;
      }
    }
    arrays[name] = values;
  }
  if (facts.map) {
    const [first, distance, count] = facts.map;
    arrays["cumulative.frequencies"] = Float64Array.from({length: count}, (_, k) => scalePoint(first + distance * k));
  }
  if (facts.scale) {
    const [first, count] = facts.scale;
    arrays.scale = Float64Array.from({length: count}, (_, k) => scalePoint(first + k));
    Object.assign(arrays, extremes("impulse", arrays.samples, facts.rate), extremes("step", stepOf(arrays.samples), facts.rate));
  }
  return {facts, arrays};
}

// A number of bytes, a blank, and for every 13 bits two of 91 characters: those that are printed but &, < and >.
function bytesOf(text) {
  const blank = text.indexOf(" "), bytes = new Uint8Array(Number(text.slice(0, blank)));
  const digit = at => {
    const code = text.charCodeAt(at);
    return code - 33 - (code > 38) - (code > 60) - (code > 62);
  };
  let bits = 0, count = 0, place = 0;
  for (let at = blank + 1; at + 1 < text.length; at += 2) {
    bits |= (digit(at) + 91 * digit(at + 1)) << count;
    for (count += 13; count >= 8; count -= 8, bits >>>= 8) bytes[place++] = bits & 255;
  }
  return bytes;
}

const scalePoint = point => 1000 * 2 ** (point / 96);

// Level and group delay at the points of the scale: means over the parts of an octave that are in the band around each,
// {level, delay}. 1/48 octave is two parts.
function smoothed({facts, arrays}, smoothing) {
  const name = "smoothed." + smoothing;
  if (arrays[name]) return arrays[name];
  const [first, highest] = facts.parts, [firstPoint, points] = facts.scale, count = arrays["parts.levels"].length;
  const widths = new Float64Array(count), energies = new Float64Array(count);
  for (let k = 0; k < count; ++k) {
    widths[k] = Math.min(scalePoint(first + k + 1), highest) - scalePoint(first + k);
    energies[k] = widths[k] * 10 ** (arrays["parts.levels"][k] / 10);
  }
  const half = 48 / smoothing, level = new Float64Array(points), delay = new Float64Array(points);
  for (let point = 0; point < points; ++point) {
    let width = 0, energy = 0, delayed = 0;
    const middle = firstPoint - first + point;
    for (let k = middle - half; k < Math.min(middle + half, count); ++k) {
      width += widths[k];
      energy += energies[k];
      delayed += energies[k] * arrays["parts.delays"][k];
    }
    level[point] = 10 * Math.log10(energy / width);
    delay[point] = delayed / energy;
  }
  return arrays[name] = {level, delay};
}

// The running sum of the samples, relative to the greatest of them.
function stepOf(samples) {
  let sum = 0, greatest = 0;
  for (const sample of samples) greatest = Math.max(greatest, Math.abs(sample));
  return samples.map(sample => greatest > 0 ? (sum += sample) / greatest : 0);
}

// Of samples the lowest and the highest in each of many parts, in their order: what a screen can show.
function extremes(name, samples, rate) {
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
  return {[name + ".all"]: samples, [name + ".x"]: Float64Array.from(x), [name + ".y"]: Float64Array.from(y)};
}
