"use strict";
// What each chart shows of a trace, its axes, and drawing it: with dygraphs on the page, as SVG for pictures.

// The library's own legend writes style attributes, which the page's policy forbids, and is not used.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter(plugin => plugin !== Dygraph.Plugins.Legend);

const lightColours = ["#0b62a8", "#c8501e", "#2b8a4b", "#8a4fb0", "#b3871b", "#c23a6b", "#217f8c", "#5b6770"];
const darkColours = ["#66b3f2", "#f2935c", "#6fd08f", "#c79be8", "#e0bd5a", "#f283ab", "#63c6d4", "#a9b6c0"];
const dashes = [null, [7, 4], [2, 3], [10, 3, 2, 3]];

const isDark = () => document.documentElement.dataset.theme === "dark";
const colourOf = place => (isDark() ? darkColours : lightColours)[place % 8];
const dashOf = place => dashes[Math.floor(place / 8) % 4];
const paint = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

// ---- numbers and ticks ----

function numberText(value, digits = 4) {
  if (!Number.isFinite(value)) return "";
  if (value === 0) return "0";
  return String(Number(value.toPrecision(digits))).replace("-", "\u2212");
}

// A value of a chart with its unit.
function valueText(value, {unit, digits, decimals}) {
  if (!Number.isFinite(value)) return "";
  const number = decimals === undefined ? numberText(value, digits) : value.toFixed(decimals).replace(/^-(?=0\.?0*$)/, "").replace("-", "\u2212");
  return number + (unit === "\u00b0" || !unit ? unit : " " + unit);
}

function frequencyText(f) {
  return f >= 10000 ? numberText(f / 1000, 4) + " kHz" : f >= 1000 ? numberText(f / 1000, 4) + " kHz" : numberText(f, 4) + " Hz";
}

function stepFor(range, most) {
  const raw = range / most, power = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 5, 10].map(each => each * power).find(step => step >= raw * 0.999);
}

// However small the range or far from 0, not more than a few hundred.
function evenTicks(low, high, most, steps) {
  const step = (steps && steps.find(each => (high - low) / each <= most)) || stepFor(high - low, most);
  const ticks = [], first = Math.ceil(low / step - 1e-9);
  for (let k = 0; k < 300; ++k) {
    const v = (first + k) * step;
    if (!(v <= high + 1e-9 * step)) break;
    ticks.push({v, label: numberText(v, 6)});
  }
  return ticks;
}

const octaveBands = [125, 250, 500, 1000, 2000, 4000, 8000];

function octaveTicks(low, high) {
  return octaveBands.map(band => ({v: Math.log10(band), label: band >= 1000 ? band / 1000 + "k" : String(band)}))
    .filter(tick => tick.v >= low && tick.v <= high);
}

function horizontalTicks(kind, low, high, pixels) {
  if (kind.hasPoints) return octaveTicks(low, high);
  return kind.isFrequency ? frequencyTicks(low, high, pixels) : evenTicks(low, high, pixels / 75);
}

// Lines at every digit of a decade, labels at 20, 50, 100, ...; positions are logarithms.
function frequencyTicks(low, high, pixels) {
  const from = 10 ** low, to = 10 ** high;
  const perDecade = pixels / (high - low);
  if (perDecade > 900)  // so close that equal steps read better
    return evenTicks(from, to, pixels / 80).filter(tick => tick.v > 0)
      .map(tick => ({v: Math.log10(tick.v), label: tick.v >= 1000 ? numberText(tick.v / 1000, 6) + "k" : numberText(tick.v, 6)}));
  const labelled = perDecade < 90 ? [1] : perDecade < 420 ? [1, 2, 5] : [1, 2, 3, 4, 5, 7];
  const ticks = [];
  for (let power = Math.max(-30, Math.floor(low)); power <= Math.min(30, Math.ceil(high)); ++power) {
    for (let digit = 1; digit < 10; ++digit) {
      const v = Math.log10(digit) + power, f = digit * 10 ** power;
      if (v < low - 1e-9 || v > high + 1e-9) continue;
      ticks.push({v, label: labelled.includes(digit) ? (f >= 1000 ? numberText(f / 1000, 3) + "k" : numberText(f, 3)) : ""});
    }
  }
  return ticks;
}

// ---- the charts ----

// value(x): of a curve at the cursor. x in the unit of the data (Hz, ms); the drawing takes logarithms of frequencies.
const chartKinds = {
  level: {name: "Level", isFrequency: true, xLabel: "Frequency (Hz)", yLabel: "Level (dB)", unit: "dB", decimals: 2},
  phase: {name: "Phase", isFrequency: true, xLabel: "Frequency (Hz)", yLabel: "Phase (degrees)", unit: "\u00b0", decimals: 1,
    steps: [15, 30, 45, 90, 180, 360, 720, 1440, 3600, 7200]},
  delay: {name: "Group delay", isFrequency: true, xLabel: "Frequency (Hz)", yLabel: "Group delay (ms)", unit: "ms", digits: 4},
  impulse: {name: "Impulse response", tab: "Impulse", xLabel: "Time from the first sample (ms)", yLabel: "Sample", unit: "", digits: 4},
  step: {name: "Step response", tab: "Step", xLabel: "Time from the first sample (ms)", yLabel: "Relative to the greatest sample", unit: "",
    digits: 4},
  decay: {name: "Energy decay", xLabel: "Time from the first sample (ms)", yLabel: "Energy still to come (dB)", unit: "dB",
    decimals: 2},
  reverberation: {name: "Reverberation", isFrequency: true, xLabel: "Octave band (Hz)", yLabel: "Reverberation time (s)", unit: "s", digits: 3,
    hasPoints: true},
  cumulative: {name: "Cumulative decay", isFrequency: true, xLabel: "Frequency (Hz)", yLabel: "Time after the peak (ms)"},
};

// The kind with the axis that the settings give it; `units`: of the levels that are shown.
function kindWith(kind, settings, units) {
  const usual = chartKinds[kind];
  if (kind === "impulse" && settings.impulse === "log") return {...usual, yLabel: "Level relative to the greatest sample (dB)", unit: "dB", decimals: 2};
  if (kind === "level" && settings.align) return {...usual, yLabel: "Level, aligned (dB)"};
  if (kind === "level" && units.length === 1) return {...usual, yLabel: `Level (${units[0]})`};
  return usual;
}

function hasChart(block, kind) {
  const a = block.arrays;
  switch (kind) {
    case "level": return Boolean(a.scale || a["response.y"]);
    case "phase": return Boolean(a.phase || a["response.phase"]);
    case "delay": return Boolean(a.scale || a["response.delay"]);
    case "cumulative": return Boolean(a["cumulative.levels"]);
    case "reverberation": return (block.facts.bands || []).some(([, ...times]) => times.some(time => time !== null));
    default: return Boolean(a[kind + ".y"]);
  }
}

const wrap = degrees => degrees - 360 * Math.round(degrees / 360);

// {x, y} of a block in a chart; null where it has none.
function curveOf(block, kind, settings) {
  const a = block.arrays, facts = block.facts;
  if (!hasChart(block, kind)) return null;
  if (kind === "level") {
    if (!a.scale) return {x: a["response.x"], y: a["response.y"]};
    return settings.smoothing ? {x: a.scale, y: smoothed(block, settings.smoothing).level} : {x: a["exact.x"], y: a["exact.y"]};
  }
  if (kind === "delay") {
    if (!a.scale) return {x: a["response.x"], y: a["response.delay"]};
    const delays = smoothed(block, settings.smoothing || 48).delay;
    return {x: a.scale, y: settings.arrivalOut ? delays.map(each => each - facts.arrival) : delays};
  }
  if (kind === "phase") {
    const x = a.scale || a["response.x"];
    let y = a.phase || a["response.phase"];
    if (a.scale && !settings.arrivalOut) y = y.map((each, k) => each - 0.36 * x[k] * facts.arrival);
    if (settings.phase === "wrapped") y = y.map(wrap);
    else if (!a.scale) {
      y = y.slice();
      for (let k = 1; k < y.length; ++k) y[k] -= 360 * Math.round((y[k] - y[k - 1]) / 360);
    }
    return settings.phase === "wrapped" ? withGaps(x, y) : {x, y};
  }
  if (isOfSamples(kind)) {
    const curve = detailed(block, kind, settings.range, settings.isWhole ? Infinity : 6000) || {x: a[kind + ".x"], y: a[kind + ".y"]};
    if (kind !== "impulse" || settings.impulse !== "log") return curve;
    // What is rounded to nothing is drawn at half of the rounding.
    const greatest = a["impulse.y"].reduce((most, each) => Math.max(most, Math.abs(each)), 0) || 1;
    const least = Math.max(10 ** -6, facts.sampleStep / 2 / greatest);
    return {x: curve.x, y: curve.y.map(each => 20 * Math.log10(Math.max(least, Math.abs(each) / greatest)))};
  }
  if (kind === "decay" && settings.band) {
    const name = `decay.${settings.band}`;
    return a[name + ".y"] ? {x: a[name + ".x"], y: a[name + ".y"]} : null;
  }
  if (kind === "reverberation") {
    const bands = facts.bands.filter(band => band[timeKinds[settings.time]] !== null);
    return {x: bands.map(([centre]) => centre), y: bands.map(band => band[timeKinds[settings.time]])};
  }
  return {x: a[kind + ".x"], y: a[kind + ".y"]};
}

const timeKinds = {edt: 1, t20: 2, t30: 3};  // places in the facts of a band
const isOfSamples = kind => kind === "impulse" || kind === "step";

// All samples of a range, as long as they are not more than so many.
function detailed(block, kind, range, most) {
  const samples = block.arrays[kind + ".all"];
  if (!samples || !range) return null;
  const perMs = block.facts.rate / 1000;
  const first = Math.max(0, Math.floor(range[0] * perMs) - 1), last = Math.min(samples.length, Math.ceil(range[1] * perMs) + 2);
  if (last - first > most || last <= first) return null;
  const y = samples.slice(first, last);
  return {x: Float64Array.from(y, (_, k) => (first + k) / perMs), y};
}

// Points that are no numbers where the phase jumps by a turn, so that no line joins both sides.
function withGaps(x, y) {
  const gapX = [], gapY = [];
  for (let k = 0; k < y.length; ++k) {
    if (k && Math.abs(y[k] - y[k - 1]) > 180) { gapX.push((x[k] + x[k - 1]) / 2); gapY.push(NaN); }
    gapX.push(x[k]); gapY.push(y[k]);
  }
  return {x: gapX, y: gapY};
}

// Linear between the points, over the logarithm of frequencies; NaN outside.
function valueAt(curve, at, isFrequency) {
  const {x, y} = curve;
  if (!x.length || at < x[0] || at > x[x.length - 1]) return NaN;
  let low = 0, high = x.length - 1;
  while (high - low > 1) {
    const middle = (low + high) >> 1;
    if (x[middle] <= at) low = middle; else high = middle;
  }
  if (x[high] === x[low]) return y[low];
  const part = isFrequency ? Math.log(at / x[low]) / Math.log(x[high] / x[low]) : (at - x[low]) / (x[high] - x[low]);
  return y[low] + part * (y[high] - y[low]);
}

// Mean power, and the levels that differ from the mean level by one standard deviation, at the points of the first curve.
function meanAndSpread(curves) {
  const x = curves[0].x;
  const mean = [], low = [], high = [];
  for (let k = 0; k < x.length; ++k) {
    const levels = curves.map(curve => valueAt(curve, x[k], true)).filter(Number.isFinite);
    const power = levels.reduce((sum, level) => sum + 10 ** (level / 10), 0) / levels.length;
    const middle = levels.reduce((sum, level) => sum + level, 0) / levels.length;
    const deviation = Math.sqrt(levels.reduce((sum, level) => sum + (level - middle) ** 2, 0) / levels.length);
    mean.push(10 * Math.log10(power));
    low.push(middle - deviation);
    high.push(middle + deviation);
  }
  return {x, mean, low, high};
}

// The level of a curve moved so that its mean from 500 Hz to 2 kHz is 0 dB; where it has no such frequencies, as it is.
function aligned(curve) {
  const levels = [];
  for (let k = 0; k <= 48; ++k) {
    const level = valueAt(curve, 500 * 2 ** (k / 24), true);
    if (Number.isFinite(level)) levels.push(level);
  }
  if (!levels.length) return curve;
  const mean = levels.reduce((sum, level) => sum + level, 0) / levels.length;
  return {...curve, y: curve.y.map(level => level - mean)};
}

// The range of the vertical axis that shows the curves well.
function verticalRange(kind, curves, settings) {
  let low = Infinity, high = -Infinity;
  for (const curve of curves) {
    for (let k = 0; k < curve.y.length; ++k) {
      if (settings.range && (curve.x[k] < settings.range[0] || curve.x[k] > settings.range[1])) continue;
      if (curve.y[k] < low) low = curve.y[k];
      if (curve.y[k] > high) high = curve.y[k];
    }
  }
  if (!Number.isFinite(low)) return [0, 1];
  if (kind === "level") return [Math.max(5 * Math.floor(low / 5 - 0.4), 5 * Math.ceil(high / 5 + 0.4) - 60), 5 * Math.ceil(high / 5 + 0.4)];
  if (kind === "phase" && settings.phase === "wrapped") return [-180, 180];
  if (kind === "reverberation") return [0, high * 1.15];
  if (kind === "decay" || (kind === "impulse" && settings.impulse === "log")) return [Math.max(low, -90), 3];
  if (kind === "delay") {
    // Noise in deep dips reaches far; nine tenths of all values are what is looked at.
    const all = curves.flatMap(curve => Array.from(curve.y).filter((_, k) => curve.x[k] >= 20)).sort((p, q) => p - q);
    if (all.length) {
      low = all[Math.floor(all.length * 0.03)];
      high = all[Math.min(all.length - 1, Math.floor(all.length * 0.97))];
    }
  }
  const isFlat = high - low <= 1e-9 * Math.abs(high);
  const margin = isFlat ? Math.abs(high) * 0.1 || 1 : (high - low) * 0.06;
  return [low - margin, high + margin];
}

// ---- drawing on the page ----

// A range with its upper end inside: the library draws no label at the very end.
const justBeyond = ([low, high]) => [low, high + (high - low) * 1e-6];

// One chart at a time in its element. `listeners`: cursor(x) and zoomed().
class Chart {
  constructor(element, line, listeners) {
    this.element = element;
    this.line = line;
    this.listeners = listeners;
    this.graph = null;
    this.spec = null;
    this.cursor = null;
    element.addEventListener("mousemove", event => this.follow(event.clientX));
    element.addEventListener("mouseleave", () => this.moveTo(null));
    new ResizeObserver(() => { if (this.graph) { this.graph.resize(); this.moveTo(this.cursor); } }).observe(element);
  }

  // spec: {kind, shape: kindWith(), curves: [{id, label, colour, dash, width, x, y}], band, shaded, xRange, yRange}; x ranges in Hz or ms.
  draw(spec) {
    this.clear();
    this.spec = spec;
    const kind = spec.shape;
    const to = kind.isFrequency ? Math.log10 : x => x;
    const {rows, labels} = rowsOf(spec.curves, to);
    const series = {};
    for (const curve of spec.curves)
      series[curve.id] = {color: curve.colour, strokePattern: curve.dash, strokeWidth: curve.width || 1.6};
    const ticker = (low, high, pixels) => horizontalTicks(kind, low, high, pixels);
    const vertical = (low, high, pixels) => evenTicks(low, high, pixels / 36, kind.steps);
    this.graph = new Dygraph(this.element, rows, {
      labels: ["x", ...labels], series, legend: "never", connectSeparatedPoints: true, xlabel: kind.xLabel,
      ylabel: kind.yLabel, dateWindow: justBeyond(spec.xRange.map(to)), valueRange: justBeyond(spec.yRange), rightGap: 24, gridLineColor: paint("--grid"), gridLineWidth: 1,
      axisLineColor: paint("--line"), highlightCircleSize: 0, drawPoints: Boolean(kind.hasPoints), pointSize: kind.hasPoints ? 4 : 1, xLabelHeight: 20, yLabelWidth: 20,
      axes: {x: {ticker, axisLabelWidth: 46, drawGrid: true}, y: {ticker: vertical, axisLabelWidth: 52}},
      underlayCallback: (context, area, graph) => this.underlay(context, area, graph),
      zoomCallback: () => this.changed(), interactionModel: this.interactions(),
    });
  }

  clear() {
    if (this.graph) this.graph.destroy();
    this.graph = null;
    this.moveTo(null);
  }

  interactions() {
    const model = Object.assign({}, Dygraph.defaultInteractionModel || Dygraph.Interaction.defaultModel);
    const ended = model.mouseup;
    model.mouseup = (event, graph, context) => {
      const wasPanning = context.isPanning;
      if (ended) ended(event, graph, context);
      if (wasPanning) this.changed();
    };
    model.dblclick = () => this.listeners.all();
    return model;
  }

  changed() {
    if (!this.graph) return;
    this.moveTo(null);
    this.listeners.zoomed(this.ranges());
  }

  // What is in view: {x: [from, to], y: [from, to]}.
  ranges() {
    const x = this.graph.xAxisRange();
    return {x: this.spec && chartKinds[this.spec.kind].isFrequency ? x.map(each => 10 ** each) : x.slice(),
      y: this.graph.yAxisRange()};
  }

  // Pixels of a point within the element.
  pixelOf(x, y) {
    const [left, top] = this.graph.toDomCoords(chartKinds[this.spec.kind].isFrequency ? Math.log10(x) : x, y);
    return {left, top};
  }

  // Moves the view by parts of its width, or makes it smaller (factor < 1) around its middle or the cursor.
  shift(part, factor = 1) {
    if (!this.graph) return;
    const [low, high] = this.graph.xAxisRange();
    const to = chartKinds[this.spec.kind].isFrequency ? Math.log10 : x => x;
    const middle = this.cursor === null || factor === 1 ? (low + high) / 2 : to(this.cursor);
    const move = part * (high - low);
    this.graph.updateOptions({dateWindow: [middle - (middle - low) * factor + move, middle + (high - middle) * factor + move]});
    this.changed();
  }

  follow(clientX) {
    if (!this.graph) return;
    const area = this.graph.getArea(), left = clientX - this.element.getBoundingClientRect().left;
    if (left < area.x || left > area.x + area.w) return this.moveTo(null);
    const x = this.graph.toDataXCoord(left);
    this.moveTo(chartKinds[this.spec.kind].isFrequency ? 10 ** x : x);
  }

  // The cursor by pixels, for keys.
  step(pixels) {
    if (!this.graph) return;
    const area = this.graph.getArea();
    const left = this.cursor === null ? area.x + area.w / 2 : this.pixelOf(this.cursor, 0).left + pixels;
    const box = this.element.getBoundingClientRect();
    this.follow(box.left + Math.min(area.x + area.w, Math.max(area.x, left)));
  }

  moveTo(x) {
    this.cursor = x;
    this.line.hidden = x === null || !this.graph;
    if (!this.line.hidden) {
      const area = this.graph.getArea();
      this.line.style.left = this.element.offsetLeft + this.pixelOf(x, 0).left + "px";
      this.line.style.top = this.element.offsetTop + area.y + "px";
      this.line.style.height = area.h + "px";
    }
    this.listeners.cursor(x);
  }

  underlay(context, area, graph) {
    const {band, shaded} = this.spec;
    const to = chartKinds[this.spec.kind].isFrequency ? Math.log10 : x => x;
    context.save();
    context.beginPath();
    context.rect(area.x, area.y, area.w, area.h);
    context.clip();
    for (const [from, until] of shaded || []) {
      const left = from === -Infinity ? area.x : graph.toDomXCoord(to(from));
      const right = until === Infinity ? area.x + area.w : graph.toDomXCoord(to(until));
      context.fillStyle = paint("--shade");
      context.fillRect(left, area.y, right - left, area.h);
    }
    if (band) {
      context.beginPath();
      for (let k = 0; k < band.x.length; ++k) context.lineTo(...graph.toDomCoords(to(band.x[k]), band.high[k]));
      for (let k = band.x.length; k-- > 0;) context.lineTo(...graph.toDomCoords(to(band.x[k]), band.low[k]));
      context.globalAlpha = 0.18;
      context.fillStyle = band.colour;
      context.fill();
    }
    context.restore();
  }
}

// Rows as dygraphs takes them: every x that a curve has; null where a curve has no point there.
function rowsOf(curves, to) {
  const places = new Map();
  const all = [];
  curves.forEach((curve, column) => {
    for (let k = 0; k < curve.x.length; ++k) {
      const x = to(curve.x[k]);
      if (!Number.isFinite(x)) continue;
      let row = places.get(x);
      if (!row) {
        row = new Array(curves.length + 1).fill(null);
        row[0] = x;
        places.set(x, row);
        all.push(row);
      }
      row[column + 1] = curve.y[k];
    }
  });
  all.sort((p, q) => p[0] - q[0]);
  return {rows: all.length ? all : [[0, ...curves.map(() => null)]], labels: curves.map(curve => curve.id)};
}

// ---- cumulative decay, as a map of colours ----

const mapColours = [[12, 10, 38], [60, 15, 110], [140, 35, 110], [215, 70, 60], [250, 150, 30], [252, 250, 160]];

function mapColour(part) {
  const at = Math.min(0.9999, Math.max(0, part)) * (mapColours.length - 1), k = Math.floor(at);
  return mapColours[k].map((each, c) => Math.round(each + (at - k) * (mapColours[k + 1][c] - each)));
}

// Draws into the canvas and remembers in canvas.map how to read it: value(pixel x, pixel y).
function drawMap(canvas, block) {
  const a = block.arrays, f = a["cumulative.frequencies"], t = a["cumulative.times"], levels = a["cumulative.levels"];
  const scale = window.devicePixelRatio || 1, width = canvas.clientWidth, height = canvas.clientHeight;
  canvas.width = width * scale;
  canvas.height = height * scale;
  const context = canvas.getContext("2d");
  context.scale(scale, scale);
  const area = {x: 60, y: 8, w: width - 146, h: height - 52};
  const low = Math.log10(f[0]), high = Math.log10(f[f.length - 1]), last = t[t.length - 1];
  const image = document.createElement("canvas");
  image.width = f.length;
  image.height = t.length;
  const pixels = image.getContext("2d").createImageData(f.length, t.length);
  for (let row = 0; row < t.length; ++row)
    for (let column = 0; column < f.length; ++column) {
      const at = 4 * (row * f.length + column), level = levels[row * f.length + column];
      const [r, g, b] = mapColour(1 + level / 60);
      pixels.data.set([r, g, b, 255], at);
    }
  image.getContext("2d").putImageData(pixels, 0, 0);
  context.imageSmoothingEnabled = true;
  // A point of the data is drawn in the middle of its pixel. Half a pixel stands out at each end, and is cut.
  context.drawImage(image, 0.5, 0.5, f.length - 1, t.length - 1, area.x, area.y, area.w, area.h);
  context.font = "12px system-ui, sans-serif";
  context.fillStyle = paint("--quiet");
  context.strokeStyle = "rgba(255,255,255,0.18)";
  context.textAlign = "center";
  for (const tick of frequencyTicks(low, high, area.w)) {
    const x = area.x + area.w * (tick.v - low) / (high - low);
    context.beginPath(); context.moveTo(x, area.y); context.lineTo(x, area.y + area.h); context.stroke();
    context.fillText(tick.label, x, area.y + area.h + 16);
  }
  context.fillText(chartKinds.cumulative.xLabel, area.x + area.w / 2, height - 8);
  context.textAlign = "right";
  for (const tick of evenTicks(0, last, area.h / 40)) {
    const y = area.y + area.h * tick.v / last;
    context.beginPath(); context.moveTo(area.x, y); context.lineTo(area.x + area.w, y); context.stroke();
    context.fillText(tick.label, area.x - 6, y + 4);
  }
  context.save();
  context.translate(14, area.y + area.h / 2);
  context.rotate(-Math.PI / 2);
  context.textAlign = "center";
  context.fillText(chartKinds.cumulative.yLabel, 0, 0);
  context.restore();
  const bar = {x: area.x + area.w + 16, w: 12};
  for (let k = 0; k < area.h; ++k) {
    context.fillStyle = `rgb(${mapColour(1 - k / area.h).join(",")})`;
    context.fillRect(bar.x, area.y + k, bar.w, 1.5);
  }
  context.fillStyle = paint("--quiet");
  context.textAlign = "left";
  for (let level = 0; level >= -60; level -= 20)
    context.fillText(numberText(level) + " dB", bar.x + bar.w + 4, area.y + 4 - level / 60 * area.h);
  canvas.map = {area, f, t, levels,
    value(left, top) {
      if (left < area.x || left > area.x + area.w || top < area.y || top > area.y + area.h) return null;
      const column = Math.round((left - area.x) / area.w * (f.length - 1));
      const time = (top - area.y) / area.h * last;
      const row = t.reduce((best, each, k) => Math.abs(each - time) < Math.abs(t[best] - time) ? k : best, 0);
      return {column, row, frequency: f[column], time: t[row], level: levels[row * f.length + column]};
    },
    pixelOf: (column, row) => [area.x + area.w * column / (f.length - 1), area.y + area.h * t[row] / last],
  };
}

// A column for every time, a row for every frequency.
function mapCsv({f, t, levels}) {
  const lines = [["Frequency (Hz)", ...Array.from(t, time => `${Number(time.toPrecision(6))} ms (dB)`)].map(each => `"${each}"`).join(",")];
  f.forEach((frequency, column) => lines.push([Number(frequency.toPrecision(6)), ...Array.from(t, (_, row) => levels[row * f.length + column])].join(",")));
  return lines.join("\r\n") + "\r\n";
}

// ---- pictures and numbers to take away ----

const escapeXml = text => text.replace(/[&<>"]/g, each => ({"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;"})[each]);

// The chart as it is in view, on white.
function chartSvg(spec, ranges, title) {
  const kind = spec.shape, to = kind.isFrequency ? Math.log10 : x => x;
  const width = 960, legend = 20 * spec.curves.length, area = {x: 70, y: 40, w: 860, h: 400};
  const height = area.y + area.h + 60 + legend;
  const [x0, x1] = ranges.x.map(to), [y0, y1] = ranges.y;
  const px = x => (area.x + area.w * (to(x) - x0) / (x1 - x0)).toFixed(2);
  const py = y => (area.y + area.h * (y1 - y) / (y1 - y0)).toFixed(2);
  const parts = [`<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${height}" viewBox="0 0 ${width} ${height}" ` +
    `font-family="sans-serif" font-size="12"><rect width="100%" height="100%" fill="#fff"/>` +
    `<clipPath id="area"><rect x="${area.x}" y="${area.y}" width="${area.w}" height="${area.h}"/></clipPath>` +
    `<text x="${area.x}" y="24" font-size="15">${escapeXml(title)}</text>`];
  for (const tick of horizontalTicks(kind, x0, x1, area.w)) {
    const x = (area.x + area.w * (tick.v - x0) / (x1 - x0)).toFixed(2);
    parts.push(`<path d="M${x} ${area.y}v${area.h}" stroke="#e2e6ea"/><text x="${x}" y="${area.y + area.h + 18}" text-anchor="middle">${tick.label}</text>`);
  }
  for (const tick of evenTicks(y0, y1, area.h / 36, kind.steps))
    parts.push(`<path d="M${area.x} ${py(tick.v)}h${area.w}" stroke="#e2e6ea"/><text x="${area.x - 8}" y="${Number(py(tick.v)) + 4}" text-anchor="end">${tick.label}</text>`);
  parts.push(`<text x="${area.x + area.w / 2}" y="${area.y + area.h + 40}" text-anchor="middle">${kind.xLabel}</text>` +
    `<text transform="translate(20 ${area.y + area.h / 2}) rotate(-90)" text-anchor="middle">${kind.yLabel}</text>` +
    `<rect x="${area.x}" y="${area.y}" width="${area.w}" height="${area.h}" fill="none" stroke="#8a949c"/>`);
  if (spec.band) {
    const up = Array.from(spec.band.x, (x, k) => `${px(x)},${py(spec.band.high[k])}`);
    const down = Array.from(spec.band.x, (x, k) => `${px(x)},${py(spec.band.low[k])}`).reverse();
    parts.push(`<polygon clip-path="url(#area)" fill="${spec.band.colour}" opacity="0.18" points="${up.concat(down).join(" ")}"/>`);
  }
  spec.curves.forEach((curve, place) => {
    let path = "", isOpen = false;
    for (let k = 0; k < curve.x.length; ++k) {
      if (!Number.isFinite(curve.y[k]) || !Number.isFinite(to(curve.x[k]))) { isOpen = false; continue; }
      path += `${isOpen ? "L" : "M"}${px(curve.x[k])} ${py(curve.y[k])}`;
      isOpen = true;
    }
    const stroke = `stroke="${curve.colour}" stroke-width="${curve.width || 1.6}"` + (curve.dash ? ` stroke-dasharray="${curve.dash}"` : "");
    const y = area.y + area.h + 62 + 20 * place;
    parts.push(`<path clip-path="url(#area)" fill="none" ${stroke} d="${path}"/><path d="M${area.x} ${y}h30" ${stroke}/>` +
      `<text x="${area.x + 40}" y="${y + 4}">${escapeXml(curve.label)}</text>`);
  });
  return parts.join("") + "</svg>";
}

// A table of all points in view: x and a column for each curve.
function chartCsv(spec, ranges) {
  const kind = chartKinds[spec.kind];
  const {rows} = rowsOf(spec.curves, x => x);
  const quoted = text => '"' + text.replace(/"/g, '""').replace(/^([=+@-])/, "'$1") + '"';
  const lines = [[kind.xLabel, ...spec.curves.map(curve => curve.label)].map(quoted).join(",")];
  const [low, high] = [ranges.x[0] * (1 - 1e-9), ranges.x[1] * (1 + 1e-9)];  // the range went through logarithms
  for (const row of rows)
    if (row[0] >= low && row[0] <= high)
      lines.push(row.map(each => each === null || Number.isNaN(each) ? "" : Number(each.toPrecision(9))).join(","));
  return lines.join("\r\n") + "\r\n";
}
