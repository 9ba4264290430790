// Inputs and outputs over time as steps, SMS and faults as marks. The span can be zoomed and moved.
import { causeOf, describe } from './describe.js';
import { byId, setText, timeOf } from './dom.js';
import { onChange, store } from './store.js';

const SPANS = [2, 5, 10, 30, 60, 300, 900, 3600, 14400, 86400].map((seconds) => seconds * 1000);
const LANE = 22; // pixels
const MOST_LANES = 40;
const MOST_MARKS = 400; // elements drawn; more on a screen's width cannot be told apart
const REDRAW = 200; // ms
const svgNames = 'http://www.w3.org/2000/svg';

let span = 4; // index of SPANS
let end = null; // time at the right edge; null: now
let due = null;

function svg(tag, attributes, text) {
  const element = document.createElementNS(svgNames, tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  if (text !== undefined) element.textContent = text;
  return element;
}

function tell(event) {
  const cause = causeOf(event);
  setText(byId('timeline-cause'), `${timeOf(event.time)}  ${describe(event)}${cause ? ` — ${cause}` : ''}`);
}

// One lane a port, those with changes first, and two for SMS and faults.
function lanesOf() {
  const ports = store.parts.ports ?? [];
  const lanes = ports.map((port) => ({ name: port.label, output: port.output, now: port.value, events: [] }));
  const byPort = new Map(lanes.map((lane) => [`${lane.output} ${lane.name}`, lane]));
  const sms = { name: 'SMS', marks: true, events: [] };
  const faults = { name: 'Faults', marks: true, events: [] };
  for (const event of store.events) {
    if (event.kind === 'input' || event.kind === 'output')
      byPort.get(`${event.kind === 'output'} ${event.label}`)?.events.push(event);
    else if (event.kind.startsWith('sms')) sms.events.push(event);
    else if (event.kind === 'fault') faults.events.push(event);
  }
  if (lanes.length > MOST_LANES) lanes.sort((one, other) => other.events.length - one.events.length);
  const extra = store.parts.modem ? [sms, faults] : [];
  return [...lanes.slice(0, MOST_LANES), ...extra];
}

const levelOf = (value) => ({ set: 1, warn: 0.5, unknown: 0.25 })[value] ?? 0;

// The steps of a port between two times, and the value that it had before the first.
function stepsOf(lane, from, to, x, top) {
  const y = (value) => top + LANE - 5 - levelOf(value) * (LANE - 10);
  const within = lane.events.filter((event) => event.time >= from && event.time <= to);
  const later = lane.events.find((event) => event.time > to);
  const opposite = (value) => (value === 'set' ? 'clear' : 'set');
  let before = null;
  for (const event of lane.events) if (event.time < from) before = event.value;
  before ??= within.length ? opposite(within[0].value) : later ? opposite(later.value) : lane.now;
  let path = `M${x(from)} ${y(before)}`;
  for (const event of within) path += `H${x(event.time).toFixed(1)}V${y(event.value)}`;
  return { path: `${path}H${x(to)}`, within, y };
}

function markOf(event, cx, cy, kind) {
  const mark = svg('circle', { cx: cx.toFixed(1), cy, r: 4.5, class: `mark ${kind}`, tabindex: 0, role: 'img',
    'aria-label': `${timeOf(event.time, false)} ${describe(event)}; ${causeOf(event)}` });
  for (const cue of ['pointerenter', 'focus']) mark.addEventListener(cue, () => tell(event));
  return mark;
}

function drawAxis(plot, from, to, x, height) {
  const step = (to - from) / 5;
  for (let i = 0; i <= 5; ++i) {
    const at = x(from + i * step);
    plot.append(svg('line', { x1: at, x2: at, y1: 0, y2: height - 16, class: 'grid' }));
    const anchor = i === 0 ? 'start' : i === 5 ? 'end' : 'middle';
    if (i % 5 === 0 || at > 300 || i === 3)
      plot.append(svg('text', { x: at, y: height - 3, class: 'tick', 'text-anchor': anchor }, timeOf(from + i * step, step < 1000)));
  }
}

function draw() {
  due = null;
  const holder = byId('timeline-plot');
  if (holder.contains(document.activeElement) && end === null && document.activeElement !== holder) return; // being read
  const width = holder.clientWidth || 600;
  const left = Math.min(130, width * 0.3);
  const to = end ?? Date.now();
  const from = to - SPANS[span];
  const x = (time) => left + ((time - from) / (to - from)) * (width - left - 8);
  const lanes = lanesOf();
  const height = lanes.length * LANE + 24;
  const plot = svg('svg', { width, height, viewBox: `0 0 ${width} ${height}`, role: 'group', 'aria-label': 'Time line' });
  drawAxis(plot, from, to, x, height);
  let marks = 0;
  lanes.forEach((lane, i) => {
    const top = i * LANE;
    const name = svg('text', { x: 0, y: top + LANE - 6, class: lane.output ? 'name output' : 'name' }, lane.name);
    plot.append(name);
    if (lane.marks) {
      const visible = lane.events.filter((event) => event.time >= from && event.time <= to).slice(-MOST_MARKS);
      for (const event of visible) plot.append(markOf(event, x(event.time), top + LANE / 2, event.kind));
      return;
    }
    const { path, within, y } = stepsOf(lane, from, to, x, top);
    plot.append(svg('path', { d: path, class: lane.output ? 'steps output' : 'steps' }));
    if (lane.output || SPANS[span] <= 60000)
      for (const event of within.slice(-60)) {
        if (++marks > MOST_MARKS) break;
        plot.append(markOf(event, x(event.time), y(event.value), event.kind));
      }
  });
  holder.replaceChildren(plot);
  showSpan(from, to);
}

function showSpan(from, to) {
  const seconds = SPANS[span] / 1000;
  const length = seconds < 60 ? `${seconds} s` : seconds < 3600 ? `${seconds / 60} min` : `${seconds / 3600} h`;
  const lost = store.leftOut ? `; ${store.leftOut} events came too fast to be shown` : '';
  setText(byId('timeline-span'), `${length}, ${timeOf(from, false)} to ${timeOf(to, false)}${lost}`);
  byId('timeline-now').setAttribute('aria-pressed', String(end === null));
}

const redraw = () => (due ??= setTimeout(draw, REDRAW));

function zoom(by) {
  const middle = (end ?? Date.now()) - SPANS[span] / 2;
  span = Math.max(0, Math.min(SPANS.length - 1, span + by));
  if (end !== null) end = Math.min(middle + SPANS[span] / 2, Date.now());
  draw();
}

function move(by) {
  const to = (end ?? Date.now()) + by * SPANS[span];
  end = to >= Date.now() ? null : to;
  draw();
}

byId('timeline-in').addEventListener('click', () => zoom(-1));
byId('timeline-out').addEventListener('click', () => zoom(1));
byId('timeline-back').addEventListener('click', () => move(-0.5));
byId('timeline-forth').addEventListener('click', () => move(0.5));
byId('timeline-now').addEventListener('click', () => {
  end = end === null ? Date.now() : null;
  draw();
});
byId('timeline-plot').addEventListener('wheel', (event) => {
  if (!event.ctrlKey) return;
  event.preventDefault();
  zoom(event.deltaY > 0 ? 1 : -1);
}, { passive: false });

onChange(redraw);
new ResizeObserver(redraw).observe(byId('timeline-plot'));
setInterval(() => {
  if (end === null && !document.hidden) redraw();
}, 1000);
