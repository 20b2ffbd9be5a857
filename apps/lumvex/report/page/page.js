"use strict";
// The page: tree, search, properties, and what is drawn of the object that is chosen. Texts of documents go into the page
// as text alone, never as markup.

const content = JSON.parse(document.getElementById("content").textContent);
const byId = name => document.getElementById(name);
const objects = content.objects;
const children = objects.map(() => []);
objects.forEach((each, place) => { if (each.parent !== undefined) children[each.parent].push(place); });
objects.forEach((each, place) => { each.document = each.parent === undefined ? content.documents.findIndex(d => d.root === place) : objects[each.parent].document; });

// The names from the document to an object, with the collections between them.
objects.forEach(each => { each.chain = each.parent === undefined ? [] : [...objects[each.parent].chain, each]; });

// Do the steps name the object? Collections between may be left out.
function isNamed(object, steps) {
  let at = 0;
  for (const each of object.chain) {
    if (at < steps.length && each.name.toLowerCase() === steps[at]) ++at;
    else if (each.type !== undefined) return false;
  }
  return at === steps.length && steps.length > 0;
}

// What the address holds, beside the object.
const fresh = () => ({chart: "level", smoothing: 12, phase: "wrapped", arrivalOut: true, impulse: "linear", band: 0, time: "t20", spread: null, align: null,
  others: false, pins: [], toggled: new Set(), zoom: null, theme: null});
let chosen = 0;
let settings = fresh();
let series = [];     // rows of the table of curves
let drawnCurves = []; // {id, label, x, y, ...} as drawn
let drawing = 0;     // counts drawings, so that one that is overtaken stops

function element(name, attributes, ...inside) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes || {})) {
    if (key.startsWith("on")) made.addEventListener(key.slice(2), value);
    else if (value === true) made.setAttribute(key, "");
    else if (value !== false && value !== null && value !== undefined) made.setAttribute(key, value);
  }
  made.append(...inside.filter(each => each !== null && each !== undefined));
  return made;
}

const typeOf = object => content.types[object.type];
const kindOf = object => object.type === undefined ? (object.count === undefined ? "" : String(object.count)) : typeOf(object).name;

// ---- addresses ----

function addressOf(place) {
  const object = objects[place];
  const path = object.path || "/";
  return content.documents.length > 1 || /^\d+:/.test(path) ? `${object.document + 1}:${path}` : path;
}

// A link to an object. Followed in the page, chart and smoothing stay as they are.
function linkTo(place, ...inside) {
  return element("a", {href: "#" + toHash(addressOf(place)), onclick: event => {
    if (event.ctrlKey || event.metaKey || event.shiftKey) return;
    event.preventDefault();
    choose(place, true);
  }}, ...inside);
}

function placeOf(address) {
  let document = 0, path = address;
  const numbered = /^(\d+):(.*)$/s.exec(address);
  if (numbered && Number(numbered[1]) <= content.documents.length && Number(numbered[1]) > 0) {
    document = Number(numbered[1]) - 1;
    path = numbered[2];
  }
  if (path === "" || path === "/") return content.documents[document].root;
  const wanted = path.replace(/^\/|\/$/g, ""), small = wanted.toLowerCase();
  const within = (each, same) => each.document === document && each.path && same(each.path.replace(/^\//, ""));
  let found = objects.findIndex(each => within(each, own => own === wanted));
  if (found < 0) found = objects.findIndex(each => within(each, own => own.toLowerCase() === small));
  if (found < 0) found = objects.findIndex(each => each.document === document && isNamed(each, small.split("/")));
  return found;
}

const toHash = text => encodeURIComponent(text).replace(/%2F/g, "/").replace(/%20/g, " ").replace(/%3A/g, ":");
const fromHash = text => { try { return decodeURIComponent(text); } catch { return text; } };

function stateText() {
  const parts = [];
  const usual = fresh();
  for (const name of ["chart", "smoothing", "phase", "arrivalOut", "impulse", "band", "time", "spread", "align", "others", "theme"])
    if (settings[name] !== usual[name]) parts.push(`${name}=${settings[name]}`);
  if (settings.toggled.size) parts.push("toggled=" + toHash([...settings.toggled].join("|")));
  if (settings.zoom) parts.push("zoom=" + [...settings.zoom.x, ...settings.zoom.y].map(each => Number(each.toPrecision(6))).join(","));
  for (const pin of settings.pins) parts.push("with=" + toHash(pin).replace(/&/g, "%26"));
  return toHash(addressOf(chosen)) + (parts.length ? "?" + parts.join("&") : "");
}

let shownHash = null;
function keepState(isNew) {
  shownHash = stateText();
  if (isNew) location.hash = shownHash;
  else location.replace("#" + shownHash);
  shownHash = location.hash;
}

function readState() {
  const [address, text] = location.hash.slice(1).split("?");
  const found = placeOf(fromHash(address));
  const state = fresh();
  state.theme = settings.theme;
  for (const part of (text || "").split("&")) {
    const at = part.indexOf("="), name = part.slice(0, at), value = fromHash(part.slice(at + 1));
    if (name === "chart" && chartKinds[value]) state.chart = value;
    if (name === "smoothing" && [0, 48, 24, 12, 6, 3].includes(Number(value))) state.smoothing = Number(value);
    if (name === "phase" && value === "unwrapped") state.phase = value;
    if (name === "arrivalOut") state.arrivalOut = value !== "false";
    if (name === "impulse" && value === "log") state.impulse = value;
    if (name === "band" && octaveBands.includes(Number(value))) state.band = Number(value);
    if (name === "time" && timeKinds[value]) state.time = value;
    if (name === "spread") state.spread = value === "true";
    if (name === "align") state.align = value === "true";
    if (name === "others") state.others = value === "true";
    if (name === "theme" && (value === "dark" || value === "light")) state.theme = value;
    if (name === "toggled") state.toggled = new Set(value.split("|"));
    if (name === "with") state.pins.push(value);
    if (name === "zoom") {
      const numbers = value.split(",").map(Number);
      if (numbers.length === 4 && numbers.every(Number.isFinite) && numbers[0] < numbers[1] && numbers[2] < numbers[3]) state.zoom = {x: numbers.slice(0, 2), y: numbers.slice(2)};
    }
  }
  settings = state;
  if (found < 0) byId("found").textContent = `There is no ${fromHash(address)} in this report.`;
  choose(found < 0 ? 0 : found, false);
}

// ---- the tree ----

const rows = new Map();  // place -> li

function treeItem(place, level) {
  const object = objects[place];
  const hasInside = children[place].length > 0;
  const item = element("li", {role: "treeitem", "aria-level": level, "aria-selected": "false", tabindex: "-1",
    "aria-expanded": hasInside ? "false" : null});
  item.place = place;
  const fold = element("span", {class: "fold", "aria-hidden": "true"}, hasInside ? "\u25b8" : "");
  const row = element("div", {class: object.type === undefined ? "row collection" : "row"}, fold,
    element("span", {class: "label"}, object.name), element("span", {class: "kind"}, kindOf(object)));
  item.append(row);
  row.addEventListener("click", event => {
    event.stopPropagation();
    if (event.target === fold) return unfold(item, item.getAttribute("aria-expanded") !== "true");
    choose(place, true);
    if (hasInside) unfold(item, true);
  });
  rows.set(place, item);
  return item;
}

function unfold(item, isOpen) {
  if (!item.hasAttribute("aria-expanded")) return;
  item.setAttribute("aria-expanded", String(isOpen));
  item.querySelector(".fold").textContent = isOpen ? "\u25be" : "\u25b8";
  let group = item.querySelector(":scope > ul");
  if (isOpen && !group) {
    const level = Number(item.getAttribute("aria-level")) + 1;
    group = element("ul", {role: "group"}, ...children[item.place].map(place => treeItem(place, level)));
    item.append(group);
  }
  if (group) group.hidden = !isOpen;
}

function reveal(place) {
  const way = [];
  for (let each = objects[place].parent; each !== undefined; each = objects[each].parent) way.unshift(each);
  for (const each of way) unfold(rows.get(each), true);
  return rows.get(place);
}

function moveInTree(event) {
  const item = event.target.closest('[role="treeitem"]');
  if (!item) return;
  const visible = [...byId("tree").querySelectorAll('[role="treeitem"]')].filter(each => each.offsetParent !== null);
  const at = visible.indexOf(item), isOpen = item.getAttribute("aria-expanded");
  const steps = {
    ArrowDown: () => visible[at + 1], ArrowUp: () => visible[at - 1], Home: () => visible[0],
    End: () => visible[visible.length - 1],
    ArrowRight: () => isOpen === "false" ? (unfold(item, true), null) : isOpen === "true" ? visible[at + 1] : null,
    ArrowLeft: () => isOpen === "true" ? (unfold(item, false), null) : item.parentElement.closest('[role="treeitem"]'),
    Enter: () => (choose(item.place, true), null), " ": () => (choose(item.place, true), null),
  };
  if (!steps[event.key]) return;
  event.preventDefault();
  const next = steps[event.key]();
  if (next) focusItem(next);
}

function focusItem(item) {
  for (const each of byId("tree").querySelectorAll('[tabindex="0"]')) each.tabIndex = -1;
  item.tabIndex = 0;
  item.focus();
}

function search() {
  const words = byId("search").value.trim().toLowerCase().split(/\s+/).filter(Boolean);
  const results = byId("results"), isOn = words.length > 0;
  byId("tree").hidden = isOn;
  results.hidden = !isOn;
  byId("found").textContent = "";
  if (!isOn) return;
  const most = 200, found = [];
  objects.forEach((object, place) => {
    const text = `${object.name} ${object.path} ${kindOf(object)}`.toLowerCase();
    if (object.type !== undefined && words.every(word => text.includes(word))) found.push(place);
  });
  byId("found").textContent = `${found.length} found` + (found.length > most ? `, the first ${most} shown` : "");
  results.replaceChildren(...found.slice(0, most).map(place => element("li", {},
    linkTo(place, objects[place].name, " ",
      element("span", {class: "chip"}, kindOf(objects[place])), element("small", {}, objects[place].path)))));
}

// ---- the chosen object ----

function choose(place, isNew) {
  if (isNew && place !== chosen) Object.assign(settings, {toggled: new Set(), spread: null, align: null, zoom: null});
  chosen = place;
  const object = objects[place], type = object.type === undefined ? null : typeOf(object);
  for (const each of byId("tree").querySelectorAll('[aria-selected="true"]')) each.setAttribute("aria-selected", "false");
  const item = reveal(place);
  item.setAttribute("aria-selected", "true");
  for (const each of byId("tree").querySelectorAll('[tabindex="0"]')) each.tabIndex = -1;
  item.tabIndex = 0;
  item.querySelector(".row").scrollIntoView({block: "nearest"});

  byId("path").textContent = (content.documents.length > 1 ? content.documents[object.document].name + ": " : "") + (object.path || "");
  byId("name").textContent = object.name;
  byId("meaning").textContent = type ? `${type.name}: ${type.meaning}` : object.meaning || "";
  document.title = `${object.name} \u2013 ${content.documents[object.document].name}`;
  byId("notes").replaceChildren(...(object.notes || []).map(note => element("p", {class: "note"}, note)));
  byId("tables").replaceChildren(...(object.tables || []).map(table => element("table", {},
    element("caption", {}, table.title),
    element("thead", {}, element("tr", {}, ...table.columns.map(name => element("th", {scope: "col"}, name)))),
    element("tbody", {}, ...table.rows.map(cells => element("tr", {}, ...cells.map(text => element("td", {}, text))))))));
  showProperties(object, type);
  const members = children[place];
  byId("inside").hidden = members.length === 0;
  byId("inside").querySelector("ul").replaceChildren(...members.map(each => element("li", {},
    linkTo(each, objects[each].name), " ", element("span", {class: "chip"}, kindOf(objects[each])))));
  if (isNew) keepState(true);
  listSeries();
  show();
}

function showProperties(object, type) {
  const table = byId("properties");
  table.hidden = !type;
  if (!type) return;
  let before = null;
  table.tBodies[0].replaceChildren(...type.properties.map(([name, unit, meaning], k) => {
    const told = meaning === before;
    before = meaning;
    const value = object.values[k];
    return element("tr", {}, element("td", {}, name), element("td", {}, value), element("td", {}, value ? unit : ""),
      element("td", {}, told ? "" : meaning));
  }));
}

// ---- curves ----

// The traces of an object, and those that were measured below it.
function tracesOf(place, isOwn) {
  const own = objects[place].traces;
  const label = (each, trace) => [isOwn && each === place && trace.label ? "" : labelOf(each, place), trace.label].filter(Boolean).join(", ");
  const found = (own || []).map((trace, k) => ({place, k, trace, label: label(place, trace), isShown: !trace.hidden}));
  const below = each => {
    for (const trace of (objects[each].traces || []))
      if (trace.role === "measured" && !trace.hidden)
        found.push({place: each, k: objects[each].traces.indexOf(trace), trace, label: label(each, trace), isShown: found.length < 12});
    for (const inside of children[each]) below(inside);
  };
  if (own) children[place].forEach(below); else below(place);
  return found;
}

// Names of the objects from the one that is chosen down, without the collections between them.
function labelOf(place, from) {
  const names = [];
  for (let each = place; each !== undefined && each !== from; each = objects[each].parent)
    if (objects[each].type !== undefined) names.unshift(objects[each].name);
  return names.join(" / ") || objects[place].name;
}

function listSeries() {
  series = tracesOf(chosen, true);
  const add = (place, prefix) => {
    for (const each of tracesOf(place, false))
      if (!series.some(other => other.trace === each.trace))
        series.push({...each, label: (prefix ? prefix + ": " : "") + each.label, isAdded: true});
  };
  if (settings.others) {
    content.documents.forEach((document, number) => {
      const other = number === objects[chosen].document ? -1 : objects.findIndex(each => each.document === number && each.path === objects[chosen].path);
      if (other >= 0) add(other, document.name);
    });
  }
  for (const pin of settings.pins) {
    const place = placeOf(pin);
    if (place >= 0 && place !== chosen) add(place, content.documents.length > 1 ? content.documents[objects[place].document].name : "");
  }
  series.forEach((each, number) => {
    each.id = "curve" + number;
    each.key = String(number);
    if (settings.toggled.has(each.key)) each.isShown = !each.isShown;
    each.number = number;
  });
}

// Mean and spread are shown where measurements of one thing come together; a document holds many things.
const isOverview = () => series.filter(each => each.place !== chosen && !each.isAdded).length > 1 && objects[chosen].parent !== undefined;
const hasSpread = () => settings.spread === null ? isOverview() : settings.spread;

// Levels relative to different things are aligned unless somebody chooses otherwise.
function isAligned() {
  if (settings.align !== null) return settings.align;
  const shown = drawnSeries(), measured = shown.filter(each => each.trace.role === "measured");
  const isWithGains = isOverview() && measured.length < shown.length;  // those of an equaliser are around 0 dB
  return measured.length > 0 && (isWithGains || new Set(measured.map(each => each.loaded.facts.unit)).size > 1);
}

const drawnSeries = () => series.filter(each => each.loaded && each.isShown);

const shapeOf = kind => kindWith(kind, {...settings, align: isAligned()},
  [...new Set(drawnSeries().filter(each => each.trace.role !== "limit" && each.trace.role !== "target").map(each => each.loaded.facts.unit))]);

// Loads what is needed and draws the chart.
async function show() {
  const mine = ++drawing;
  byId("drawing").hidden = series.length === 0;
  chart.clear();
  if (series.length === 0) return;
  await Promise.all(series.filter(each => each.isShown).map(async each => { each.loaded = await loadBlock(each.trace.block); }));
  if (mine !== drawing) return;
  const loaded = drawnSeries();
  const known = series.filter(each => each.loaded);
  const kinds = Object.keys(chartKinds).filter(kind => known.some(each => hasChart(each.loaded, kind)));
  let kind = settings.chart;
  if (kinds.length && !kinds.includes(kind)) kind = kinds[0];
  byId("charts").replaceChildren(...kinds.map(each => element("button", {role: "tab", "aria-selected": String(each === kind),
    id: "tab-" + each, onclick: () => { settings.chart = each; settings.zoom = null; keepState(false); show(); }}, chartKinds[each].tab || chartKinds[each].name)));
  setControls(kind);
  const isMap = kind === "cumulative";
  byId("chart").hidden = isMap;
  byId("map").hidden = !isMap;
  byId("readout").textContent = "";
  drawnCurves = [];
  if (isMap) showMap(loaded); else showCurves(kind, loaded);
  fillTable(kind, isMap);
  fillResults(known);
  document.documentElement.dataset.drawn = String(mine);
}

// `range`: of the samples that are wanted themselves; `isWhole`: however many they are.
function curvesFor(kind, loaded, range, isWhole = false) {
  return loaded.map(each => {
    const curve = curveOf(each.loaded, kind, {...settings, range, isWhole});
    if (curve && kind === "level" && isAligned() && !["limit", "target", "filter"].includes(each.trace.role)) Object.assign(curve, aligned(curve));
    const isLimit = each.trace.role === "limit" || each.trace.role === "target";
    return curve && {id: each.id, role: each.trace.role, label: each.label || objects[each.place].name, colour: colourOf(each.number),
      dash: isLimit ? [4, 4] : dashOf(each.number), width: each.trace.role === "corrected" || each.trace.role === "sum" ? 2.4 : 1.6, ...curve};
  }).filter(Boolean);
}

function showCurves(kind, loaded) {
  const isFrequency = chartKinds[kind].isFrequency;
  const zoom = settings.zoom && isFrequency && settings.zoom.x[0] <= 0 ? null : settings.zoom;
  const xRange = zoom ? zoom.x : firstRange(kind, loaded);
  let curves = curvesFor(kind, loaded, xRange);
  const yRange = zoom ? zoom.y : verticalRange(kind, curves, {...settings, range: xRange});
  let band = null;
  if (kind === "level" && hasSpread()) {
    const measured = curves.filter(curve => curve.role === "measured");
    if (measured.length > 1) {
      const {x, mean, low, high} = meanAndSpread(measured);
      const colour = paint("--text");
      band = {x, low, high, colour};
      curves = curves.map(curve => ({...curve, width: 1}));
      curves.push({id: "mean", label: `Mean power of ${measured.length}; the band is one standard deviation`, colour, dash: null, width: 3, x, y: mean});
    }
  }
  const shaded = [];
  const first = loaded.length === 1 ? loaded[0].loaded.facts : null;
  if (first && isFrequency && first.resolution) shaded.push([-Infinity, first.resolution]);
  if (first && isOfSamples(kind) && first.window) shaded.push([-Infinity, first.window[0]], [first.window[1], Infinity]);
  drawnCurves = curves;
  chart.draw({kind, shape: shapeOf(kind), curves, band, shaded, xRange, yRange});
  byId("summary").textContent = (kind === "level" && isAligned() ? "Levels are aligned: the mean of each from 500 Hz to 2 kHz is 0 dB. " : "") + summaryOf(kind, curves, xRange) +
    (first && isFrequency && first.resolution > xRange[0] ? ` Below ${frequencyText(first.resolution)} (shaded) the window is too short to tell.` : "") +
    (first && isOfSamples(kind) && first.window ? ` The analysis window is from ${numberText(first.window[0])} to ${numberText(first.window[1])} ms; what is outside is shaded.` : "");
  byId("chart").setAttribute("aria-label", `${chartKinds[kind].name} of ${objects[chosen].name}, ${curves.length} curves`);
}

function wholeRange(kind, curves) {
  const starts = curves.filter(curve => curve.x.length).map(curve => curve.x[0]);
  const ends = curves.filter(curve => curve.x.length).map(curve => curve.x[curve.x.length - 1]);
  if (!starts.length) return chartKinds[kind].isFrequency ? [20, 20000] : [0, 1];
  if (!chartKinds[kind].isFrequency) return [Math.min(...starts), Math.max(...ends)];
  if (kind === "reverberation") return [88, 11400];
  return [Math.max(20, Math.min(...starts)), Math.max(Math.min(20000, Math.max(...ends)), 40)];
}

// Of long responses what arrives first, where samples can be told apart; of all else all.
function firstRange(kind, loaded) {
  const whole = wholeRange(kind, curvesFor(kind, loaded, null));
  const isLong = isOfSamples(kind) && !(kind === "impulse" && settings.impulse === "log") && whole[1] - whole[0] > 60;
  if (!isLong) return whole;
  const arrivals = loaded.map(each => each.loaded.facts.arrival).filter(Number.isFinite);
  return [Math.max(whole[0], Math.min(...arrivals) - 3), Math.min(whole[1], Math.max(...arrivals) + 27)];
}

// The place of the greatest value in view, of samples that of the greatest magnitude; -1 for none.
function greatestIn(kind, curve, range) {
  const size = kind === "impulse" && settings.impulse === "linear" ? Math.abs : value => value;
  let best = -1;
  for (let k = 0; k < curve.y.length; ++k)
    if (Number.isFinite(curve.y[k]) && curve.x[k] >= range[0] && curve.x[k] <= range[1] && (best < 0 || size(curve.y[k]) > size(curve.y[best]))) best = k;
  return best;
}

function greatestText(kind, curve, range) {
  const best = greatestIn(kind, curve, range);
  if (best < 0) return "";
  const at = chartKinds[kind].isFrequency ? frequencyText(curve.x[best]) : numberText(curve.x[best]) + " ms";
  return `${valueText(curve.y[best], shapeOf(kind))} at ${at}`;
}

function summaryOf(kind, curves, range) {
  return curves.slice(0, 3).map(curve => [curve.label, greatestText(kind, curve, range)]).filter(([, text]) => text)
    .map(([label, text]) => `${label}: greatest ${text}.`).join(" ");
}

function showMap(loaded) {
  const one = loaded.find(each => hasChart(each.loaded, "cumulative"));
  if (!one) return;
  drawMap(byId("map"), one.loaded);
  byId("summary").textContent = `Of ${one.label || objects[one.place].name}; levels relative to the greatest.` +
    (loaded.length > 1 ? " Of several curves the first that is shown is drawn." : "");
  byId("map").setAttribute("aria-label", `Cumulative decay of ${one.label || objects[one.place].name}`);
}

function setControls(kind) {
  for (const each of byId("controls").querySelectorAll("[data-for]")) each.hidden = !each.dataset.for.split(" ").includes(kind);
  byId("smoothing").value = String(settings.smoothing);
  byId("phase").value = settings.phase;
  byId("arrival").checked = settings.arrivalOut;
  byId("impulse").value = settings.impulse;
  byId("band").value = String(settings.band);
  byId("time").value = settings.time;
  byId("spread").checked = hasSpread();
  byId("align").checked = isAligned();
  byId("others").checked = settings.others;
  byId("others-label").hidden = content.documents.length < 2;
  const isPinned = settings.pins.includes(addressOf(chosen));
  byId("pin").textContent = isPinned ? "Compared" : "Compare";
  byId("pin").setAttribute("aria-pressed", String(isPinned));
  byId("unpin").hidden = settings.pins.length === 0;
  for (const name of ["zoom-in", "zoom-out", "zoom-all", "save-svg"]) byId(name).hidden = kind === "cumulative";
}

const paintSwatch = each => { each.row.querySelector(".swatch").style.borderTopColor = colourOf(each.number); };

function fillTable(kind, isMap) {
  const body = byId("series").tBodies[0];
  body.replaceChildren(...series.map(each => {
    const swatch = element("span", {class: "swatch"}), {role} = each.trace;
    swatch.style.borderTopStyle = dashOf(each.number) || role === "limit" || role === "target" ? "dashed" : "solid";
    const label = each.label || objects[each.place].name;
    const box = element("input", {type: "checkbox", "aria-label": `Show ${label}`, onchange: () => toggle(each)});
    box.checked = each.isShown;
    const row = element("tr", {}, element("td", {}, box),
      element("td", {}, swatch, each.place === chosen ? label : linkTo(each.place, label)),
      element("td", {}, element("span", {class: "chip"}, role)), element("td", {}), element("td", {}));
    each.row = row;
    paintSwatch(each);
    const curve = drawnCurves.find(drawn => drawn.id === each.id);
    if (curve && !isMap) row.cells[4].textContent = greatestText(kind, curve, chart.ranges().x);
    return row;
  }));
}

function toggle(each) {
  if (settings.toggled.has(each.key)) settings.toggled.delete(each.key); else settings.toggled.add(each.key);
  each.isShown = !each.isShown;
  keepState(false);
  show();
}

// Early decay time and reverberation times of octave bands.
function bandTable(each, isNamed) {
  const {bands} = each.loaded.facts, label = each.label || objects[each.place].name;
  return element("table", {class: "bands"},
    element("caption", {}, "Octave bands, times in s" + (isNamed ? ": " + label : "")),
    element("thead", {}, element("tr", {}, element("th", {scope: "col"}, "Band"), ...bands.map(([centre]) => element("th", {scope: "col"}, frequencyText(centre))))),
    element("tbody", {}, ...[["Early decay", 1], ["T20", 2], ["T30", 3]].map(([name, place]) => element("tr", {}, element("th", {scope: "row"}, name),
      ...bands.map(band => element("td", {}, band[place] === null ? "\u2013" : band[place].toFixed(2)))))));
}

function fillResults(known) {
  byId("results-of").replaceChildren(...known.filter(each => each.isShown && each.loaded.facts.results && each.loaded.facts.results.length)
    .map(each => element("div", {class: "facts"}, known.length > 1 ? element("strong", {}, each.label || objects[each.place].name) : null,
      ...each.loaded.facts.results.map(([name, value]) => element("div", {}, element("span", {}, name), value)))),
    ...known.filter(each => each.isShown && hasChart(each.loaded, "reverberation")).slice(0, 4).map(each => bandTable(each, known.length > 1)));
  const told = new Map();
  for (const each of known.filter(one => one.isShown)) {
    const text = each.loaded.facts.method.concat("Levels in " + each.loaded.facts.unit + ".");
    const key = text.join("\n");
    if (!told.has(key)) told.set(key, {text, labels: []});
    told.get(key).labels.push(each.label || objects[each.place].name);
  }
  byId("method").querySelector("div").replaceChildren(...[...told.values()].map(({text, labels}) =>
    element("div", {}, element("strong", {}, labels.join("; ")), element("ul", {}, ...text.map(line => element("li", {}, line))))));
}

function showCursor(x) {
  const kind = chart.spec ? chart.spec.kind : null;
  if (!kind) return;
  const {shape} = chart.spec, {isFrequency} = shape;
  for (const each of series) {
    if (!each.row) continue;
    const curve = drawnCurves.find(drawn => drawn.id === each.id);
    const value = x === null || !curve ? NaN : valueAt(curve, x, isFrequency);
    each.row.cells[3].textContent = valueText(value, shape);
  }
  if (x === null) { byId("readout").textContent = ""; return; }
  const at = isFrequency ? frequencyText(x) : numberText(x, 5) + " ms";
  const texts = drawnCurves.slice(0, 4).map(curve => [curve.label, valueAt(curve, x, isFrequency)])
    .filter(([, value]) => Number.isFinite(value)).map(([label, value]) => `${label} ${valueText(value, shape)}`);
  byId("readout").textContent = `${at}: ${texts.join(" \u00b7 ")}`;
}

// The view has changed. Time curves get all their samples once few enough are in view.
function zoomed(ranges) {
  settings.zoom = ranges;
  keepState(false);
  if (isOfSamples(chart.spec.kind)) show();
}

// All there is; where that is in view already, the view that a chart begins with.
function showAll() {
  const {kind} = chart.spec, {x, y} = chart.ranges();
  const whole = wholeRange(kind, curvesFor(kind, drawnSeries(), null));
  const isThere = x[0] <= whole[0] + 1e-6 && x[1] >= whole[1] - 1e-6;
  settings.zoom = !isOfSamples(kind) || isThere ? null : {x: whole, y};
  keepState(false);
  show();
}

// Reads the map at a pixel, and marks it.
function followMap(left, top) {
  const {map} = byId("map"), line = byId("cursor-line");
  const found = map ? map.value(left, top) : null;
  line.hidden = !found;
  byId("readout").textContent = found ? `${frequencyText(found.frequency)}, ${numberText(found.time)} ms: ${numberText(found.level)} dB` : "";
  if (!found) return;
  map.at = found;
  line.style.left = byId("map").offsetLeft + map.pixelOf(found.column, found.row)[0] + "px";
  line.style.top = byId("map").offsetTop + map.area.y + "px";
  line.style.height = map.area.h + "px";
}

// ---- taking away ----

function save(name, type, data) {
  const link = element("a", {href: URL.createObjectURL(new Blob([data], {type})), download: name});
  document.body.append(link);
  link.click();
  link.remove();
}

const isMapShown = () => !byId("map").hidden;
const fileName = end => objects[chosen].name.replace(/[^\p{L}\p{N}]+/gu, "-").replace(/^-|-$/g, "").slice(0, 60) + "-" + (isMapShown() ? "cumulative" : chart.spec.kind) + end;
const svgText = () => chartSvg(chart.spec, chart.ranges(), `${chartKinds[chart.spec.kind].name}: ${objects[chosen].name}`);

async function savePng() {
  if (isMapShown()) return save(fileName(".png"), "image/png", await new Promise(done => byId("map").toBlob(done)));
  const image = new Image();
  const address = URL.createObjectURL(new Blob([svgText()], {type: "image/svg+xml"}));
  await new Promise((done, failed) => { image.onload = done; image.onerror = failed; image.src = address; });
  const canvas = document.createElement("canvas");
  canvas.width = 2 * image.naturalWidth;
  canvas.height = 2 * image.naturalHeight;
  canvas.getContext("2d").drawImage(image, 0, 0, canvas.width, canvas.height);
  URL.revokeObjectURL(address);
  save(fileName(".png"), "image/png", await new Promise(done => canvas.toBlob(done)));
}

// ---- beginning ----

function setTheme() {
  const dark = settings.theme ? settings.theme === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
  document.documentElement.dataset.theme = dark ? "dark" : "light";
}

const chart = new Chart(byId("chart"), byId("cursor-line"), {cursor: showCursor, zoomed, all: showAll});

function bind(name, event, work) { byId(name).addEventListener(event, work); }
function bindSetting(id, name, value) {
  bind(id, "change", () => {
    settings[name] = value(byId(id));
    if (name !== "smoothing") settings.zoom = null;
    keepState(false);
    if (name === "others") listSeries();
    show();
  });
}
bindSetting("smoothing", "smoothing", each => Number(each.value));
bindSetting("phase", "phase", each => each.value);
bindSetting("arrival", "arrivalOut", each => each.checked);
bindSetting("impulse", "impulse", each => each.value);
bindSetting("band", "band", each => Number(each.value));
bindSetting("time", "time", each => each.value);
bindSetting("spread", "spread", each => each.checked);
bindSetting("align", "align", each => each.checked);
bindSetting("others", "others", each => each.checked);
bind("zoom-in", "click", () => chart.shift(0, 0.5));
bind("zoom-out", "click", () => chart.shift(0, 2));
bind("zoom-all", "click", showAll);
bind("pin", "click", () => {
  const address = addressOf(chosen);
  settings.pins = settings.pins.includes(address) ? settings.pins.filter(each => each !== address) : [...settings.pins, address];
  keepState(false);
  listSeries();
  show();
});
bind("unpin", "click", () => { settings.pins = []; keepState(false); listSeries(); show(); });
bind("save-svg", "click", () => save(fileName(".svg"), "image/svg+xml", svgText()));
bind("save-png", "click", savePng);
bind("save-csv", "click", () => {
  if (isMapShown()) return save(fileName(".csv"), "text/csv", mapCsv(byId("map").map));
  const {kind} = chart.spec, ranges = chart.ranges();
  const spec = isOfSamples(kind) ? {...chart.spec, curves: curvesFor(kind, drawnSeries(), ranges.x, true)} : chart.spec;
  save(fileName(".csv"), "text/csv", chartCsv(spec, ranges));
});
bind("theme", "click", () => {
  settings.theme = document.documentElement.dataset.theme === "dark" ? "light" : "dark";
  setTheme();
  keepState(false);
  show();
});
bind("print", "click", () => print());
bind("about", "click", () => {
  const text = byId("about-text");
  text.hidden = !text.hidden;
  byId("about").setAttribute("aria-expanded", String(!text.hidden));
});
bind("skip", "click", event => { event.preventDefault(); byId("main").focus(); });
bind("search", "input", search);
bind("tree", "keydown", moveInTree);
bind("chart", "keydown", event => {
  const keys = {ArrowLeft: () => event.shiftKey ? chart.shift(-0.1) : chart.step(-2), ArrowRight: () => event.shiftKey ? chart.shift(0.1) : chart.step(2),
    "+": () => chart.shift(0, 0.7), "-": () => chart.shift(0, 1 / 0.7), "0": showAll, Escape: () => chart.moveTo(null)};
  if (!keys[event.key]) return;
  event.preventDefault();
  keys[event.key]();
});
bind("map", "mousemove", event => followMap(event.offsetX, event.offsetY));
bind("map", "keydown", event => {
  const {map} = byId("map"), moves = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};
  if (!map || !moves[event.key]) return;
  event.preventDefault();
  const [right, down] = moves[event.key];
  const column = Math.min(map.f.length - 1, Math.max(0, (map.at ? map.at.column : 0) + right));
  const row = Math.min(map.t.length - 1, Math.max(0, (map.at ? map.at.row : 0) + down));
  followMap(...map.pixelOf(column, row));
});
// On paper everything is light, and says how it was computed.
function drawAgain() {
  if (isMapShown()) showMap(drawnSeries());
  else if (chart.spec && series.length) showCurves(chart.spec.kind, drawnSeries());
  for (const each of series) if (each.row) paintSwatch(each);
}
let wasMethodOpen = false;
addEventListener("beforeprint", () => {
  wasMethodOpen = byId("method").open;
  byId("method").open = true;
  document.documentElement.dataset.theme = "light";
  drawAgain();
});
addEventListener("afterprint", () => {
  byId("method").open = wasMethodOpen;
  setTheme();
  drawAgain();
});
addEventListener("hashchange", () => { if (location.hash !== shownHash) { readState(); shownHash = location.hash; } });
addEventListener("resize", () => { if (!byId("map").hidden) show(); });

byId("title").textContent = content.documents.map(each => each.name).join(", ");
byId("licence-text").textContent = byId("licence").textContent;
content.documents.forEach(each => byId("tree").append(treeItem(each.root, 1)));
if (matchMedia("(max-width: 50rem)").matches) byId("objects").open = false;
readState();
setTheme();
if (content.documents.length === 1) unfold(rows.get(0), true);
