// The viewer's page: one strip per channel with its min/max envelope, a shared
// time axis with the records' starts and the markers, zoom and pan with the
// mouse, and a view that follows the end of a record being recorded.
"use strict";

const view = { start: 0, end: 1, total: 1, follow: false };
let measurement = null;
let strips = [];
let generation = 0;
let drawing = false;
let again = false;

function pixels(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(1, Math.round(canvas.clientWidth * ratio));
  const height = Math.max(1, Math.round(canvas.clientHeight * ratio));
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  return { width, height };
}

function seconds(value) {
  const span = view.end - view.start;
  const digits = span < 0.01 ? 6 : span < 1 ? 4 : span < 100 ? 2 : 0;
  return value.toFixed(digits) + " s";
}

// The record starts and the markers on the axis, in seconds.
function recordStarts() {
  const starts = [];
  let at = 0;
  for (const record of measurement.records) {
    starts.push(at);
    at += record.duration;
  }
  return starts;
}

function drawAxis() {
  const canvas = document.querySelector("#axis canvas");
  const { width, height } = pixels(canvas);
  const context = canvas.getContext("2d");
  context.clearRect(0, 0, width, height);
  const span = view.end - view.start;
  const x = (t) => ((t - view.start) / span) * width;
  context.fillStyle = "#333";
  context.font = `${Math.round(11 * (window.devicePixelRatio || 1))}px sans-serif`;
  const step = Math.pow(10, Math.floor(Math.log10(span / 5)));
  const tick = span / step > 25 ? step * 5 : span / step > 10 ? step * 2 : step;
  for (let t = Math.ceil(view.start / tick) * tick; t <= view.end; t += tick) {
    context.fillRect(x(t), 0, 1, 6);
    context.fillText(seconds(t), x(t) + 2, height - 6);
  }
}

function drawStrip(strip, answer) {
  const { width, height } = pixels(strip.canvas);
  const context = strip.canvas.getContext("2d");
  context.clearRect(0, 0, width, height);
  let low = Infinity;
  let high = -Infinity;
  for (let i = 0; i < answer.min.length; i++) {
    if (answer.min[i] !== null) low = Math.min(low, answer.min[i]);
    if (answer.max[i] !== null) high = Math.max(high, answer.max[i]);
  }
  const span = view.end - view.start;
  const x = (t) => ((t - view.start) / span) * width;
  context.fillStyle = "#bbb";
  for (const start of recordStarts()) context.fillRect(Math.round(x(start)), 0, 1, height);
  context.fillStyle = "rgba(255, 160, 0, 0.25)";
  for (const marker of measurement.markers) {
    context.fillRect(x(marker.position), 0, Math.max(1, x(marker.position + marker.duration) -
                                                    x(marker.position)), height);
  }
  if (low > high) {
    strip.range.textContent = "nothing recorded here";
    return;
  }
  strip.range.textContent = `${low.toPrecision(4)} … ${high.toPrecision(4)} ${strip.unit}`;
  const pad = (high - low) * 0.05 || 1;
  const y = (v) => height - ((v - (low - pad)) / (high - low + 2 * pad)) * height;
  // The pairs share the span the server answered for, which may end before the view.
  const pairs = answer.min.length;
  const step = ((answer.end - answer.start) / span) * width / pairs;
  const left = x(answer.start);
  context.fillStyle = "#1f5fbf";
  for (let i = 0; i < pairs; i++) {
    if (answer.min[i] === null || answer.max[i] === null) continue;
    const top = y(answer.max[i]);
    context.fillRect(Math.floor(left + i * step), top, Math.max(1, Math.ceil(step)),
                     Math.max(1, y(answer.min[i]) - top));
  }
}

async function draw() {
  if (drawing) {
    again = true;
    return;
  }
  drawing = true;
  const mine = ++generation;
  document.getElementById("span").textContent =
    `${seconds(view.start)} – ${seconds(view.end)} of ${seconds(view.total)}`;
  drawAxis();
  await Promise.all(strips.map(async (strip) => {
    const points = Math.min(100000, pixels(strip.canvas).width);
    // In the channel's own unit, which its label names.
    const query = `channel=${strip.index}&start=${view.start}&end=${view.end}&points=${points}` +
      "&unit=recorded";
    const response = await fetch(`/api/zoom?${query}`);
    const answer = await response.json();
    if (mine !== generation) return;
    if (!response.ok) {
      strip.range.textContent = answer.error;
      return;
    }
    drawStrip(strip, answer);
  }));
  drawing = false;
  document.body.dataset.drawn = String(generation);
  if (again) {
    again = false;
    draw();
  }
}

function setView(start, end) {
  const shortest = 4 / Math.max(...measurement.channels.map((c) => c.rate), 1);
  let span = Math.min(Math.max(end - start, shortest), view.total);
  start = Math.min(Math.max(start, 0), Math.max(0, view.total - span));
  view.start = start;
  view.end = start + span;
  view.follow = view.end >= view.total - 1e-9;
  draw();
}

function listen(strip) {
  const canvas = strip.canvas;
  canvas.addEventListener("wheel", (event) => {
    event.preventDefault();
    const where = event.offsetX / canvas.clientWidth;
    const at = view.start + where * (view.end - view.start);
    const factor = event.deltaY > 0 ? 1.25 : 0.8;
    const span = (view.end - view.start) * factor;
    setView(at - where * span, at - where * span + span);
  }, { passive: false });
  canvas.addEventListener("mousedown", (event) => {
    const from = event.clientX;
    const start = view.start;
    const end = view.end;
    const move = (m) => {
      const shift = ((from - m.clientX) / canvas.clientWidth) * (end - start);
      setView(start + shift, end + shift);
    };
    const up = () => {
      window.removeEventListener("mousemove", move);
      window.removeEventListener("mouseup", up);
    };
    window.addEventListener("mousemove", move);
    window.addEventListener("mouseup", up);
  });
  canvas.addEventListener("dblclick", () => setView(0, view.total));
}

async function load() {
  const response = await fetch("/api/measurement");
  measurement = await response.json();
  const recording = measurement.records.some((r) => r.recording);
  const grew = measurement.duration !== view.total;
  view.total = Math.max(measurement.duration, 1e-6);
  return { recording, grew };
}

async function start() {
  await load();
  document.getElementById("title").textContent = measurement.name;
  const container = document.getElementById("strips");
  strips = measurement.channels.map((channel) => {
    const element = document.createElement("div");
    element.className = "strip";
    element.innerHTML = '<canvas></canvas><span class="label"></span><span class="range"></span>';
    element.querySelector(".label").textContent = `${channel.name} [${channel.unit}]`;
    container.appendChild(element);
    const strip = { index: channel.index, unit: channel.unit,
                    canvas: element.querySelector("canvas"),
                    range: element.querySelector(".range") };
    listen(strip);
    return strip;
  });
  window.addEventListener("resize", draw);
  setView(0, view.total);
  // A record being recorded: the view of its end moves on with it.
  setInterval(async () => {
    const wasFollowing = view.follow;
    const span = view.end - view.start;
    const { recording, grew } = await load();
    if (!recording && !grew) return;
    if (wasFollowing) {
      setView(view.total - span, view.total);
    } else {
      draw();
    }
  }, 500);
}

start();
