// Charts in SVG, drawn for the available width. A chart is one tab stop: the arrow keys walk its points, and each is
// announced with the text of its tooltip.

const margins = { top: 10, right: 14, bottom: 26, left: 64 };

// Round axis values from 0 to at least `most`; sizes are rounded in their own unit.
function axisTicks(most, isBytes) {
  const unit = isBytes ? 1024 ** unitOf(most) : 1;
  const goal = Math.max(most / unit, isBytes ? 0 : 1) / 4 || 1;
  const power = 10 ** Math.floor(Math.log10(goal));
  let step = [1, 2, 5, 10].find((factor) => factor * power >= goal) * power;
  if (!isBytes) step = Math.max(1, Math.round(step));
  const ticks = [0];
  while (ticks.at(-1) < most / unit) ticks.push(ticks.length * step);
  if (ticks.length === 1) ticks.push(step);
  return ticks.map((tick) => tick * unit);
}

// Indices of the points with axis labels: as many as fit, always the last.
function namedPoints(count, width) {
  const every = Math.max(1, Math.ceil(count / Math.max(2, Math.floor(width / 88))));
  const named = [];
  for (let index = count - 1; index >= 0; index -= every) named.push(index);
  return named;
}

// Draws `points` ({ value, name, lines, mark }) as "bars" or "line". `label` is the accessible name.
function chart({ kind, points, label, isBytes = true, height = 220 }) {
  // The container takes the focus, because the SVG is redrawn when the width changes.
  const holder = h("div", {
    class: "chart",
    style: `min-height:${height}px`,
    role: "img",
    tabindex: 0,
    "data-keep": `chart ${label}`,
  });
  const most = Math.max(0, ...points.map((point) => point.value));
  const ticks = axisTicks(most, isBytes);
  const format = (value) => (isBytes ? formatBytes(value, unitOf(ticks.at(-1))) : formatCount(value));
  let drawn = null;
  const draw = () => {
    const width = Math.round(holder.clientWidth);
    if (!width || width === drawn) return;
    drawn = width;
    const picture = drawChart({ kind, points, ticks, format, width, height });
    attachTips(holder, picture, points, placeOf(kind, points.length, width), width);
    holder.replaceChildren(picture);
  };
  holder.setAttribute(
    "aria-label",
    `${label}. ${counted(points.length, "point")}, at most ${format(most)}. Arrow keys read the points.`,
  );
  new ResizeObserver(draw).observe(holder);
  return holder;
}

function placeOf(kind, count, width) {
  const room = width - margins.left - margins.right;
  if (kind === "bars") return (index) => margins.left + ((index + 0.5) / count) * room;
  return (index) => margins.left + (count < 2 ? 0.5 : index / (count - 1)) * room;
}

function drawChart({ kind, points, ticks, format, width, height }) {
  const bottom = height - margins.bottom;
  const x = placeOf(kind, points.length, width);
  const y = (value) => bottom - (value / ticks.at(-1)) * (bottom - margins.top);
  const picture = svg("svg", { viewBox: `0 0 ${width} ${height}`, height, "aria-hidden": "true" });
  for (const tick of ticks) {
    picture.append(
      svg("line", { class: "rule", x1: margins.left, x2: width - margins.right, y1: y(tick), y2: y(tick) }),
      svg("text", { x: margins.left - 10, y: y(tick) + 4, "text-anchor": "end" }, format(tick)),
    );
  }
  for (const index of namedPoints(points.length, width - margins.left)) {
    const atEnd = kind === "line" && index === points.length - 1 && points.length > 1;
    picture.append(svg("text", { x: x(index), y: height - 6, "text-anchor": atEnd ? "end" : "middle" }, points[index].name));
  }
  if (kind === "bars") drawBars(picture, points, x, y, bottom, (width - margins.left - margins.right) / points.length);
  else drawLine(picture, points, x, y, bottom);
  return picture;
}

function drawBars(picture, points, x, y, bottom, room) {
  const width = Math.max(1, Math.min(34, room * 0.68));
  points.forEach((point, index) => {
    const top = point.value > 0 ? Math.min(y(point.value), bottom - 1.5) : bottom;
    picture.append(
      svg("rect", {
        class: "bar-mark",
        "data-index": index,
        x: x(index) - width / 2,
        y: top,
        width,
        height: bottom - top,
        rx: Math.min(3, width / 3),
      }),
    );
    if (point.mark)
      picture.append(
        svg("circle", { class: point.mark, cx: x(index), cy: bottom + 5, r: Math.min(3, Math.max(1.5, width / 3)) }),
      );
  });
}

function drawLine(picture, points, x, y, bottom) {
  const path = points.map((point, index) => `${index ? "L" : "M"}${x(index).toFixed(1)} ${y(point.value).toFixed(1)}`).join("");
  picture.append(
    svg("path", { class: "area", d: `${path}L${x(points.length - 1)} ${bottom}L${x(0)} ${bottom}Z` }),
    svg("path", { class: "line-mark", d: path }),
    svg("line", { class: "cursor", y1: margins.top, y2: bottom, visibility: "hidden" }),
    svg("circle", { class: "spot", r: 4.5, visibility: "hidden" }),
  );
  const spot = picture.querySelector(".spot");
  const cursor = picture.querySelector(".cursor");
  picture.showPoint = (index) => {
    const visibility = index === null ? "hidden" : "visible";
    spot.setAttribute("visibility", visibility);
    cursor.setAttribute("visibility", visibility);
    if (index === null) return;
    spot.setAttribute("cx", x(index));
    spot.setAttribute("cy", y(points[index].value));
    cursor.setAttribute("x1", x(index));
    cursor.setAttribute("x2", x(index));
  };
}

function attachTips(holder, picture, points, x, width) {
  let active = null;
  const show = (index) => {
    active = index;
    if (picture.showPoint) picture.showPoint(index);
    picture.querySelectorAll(".active").forEach((node) => node.classList.remove("active"));
    if (index === null) return hideTip();
    const mark = picture.querySelector(`[data-index="${index}"]`);
    if (mark) mark.classList.add("active");
    const box = picture.getBoundingClientRect();
    showTip(points[index], box.left + (x(index) / width) * box.width, box.top);
  };
  picture.addEventListener("pointermove", (event) => {
    const box = picture.getBoundingClientRect();
    const at = ((event.clientX - box.left) / box.width) * width;
    let nearest = 0;
    points.forEach((_, index) => {
      if (Math.abs(x(index) - at) < Math.abs(x(nearest) - at)) nearest = index;
    });
    show(nearest);
  });
  picture.addEventListener("pointerleave", () => show(null));
  holder.onblur = () => show(null);
  holder.onkeydown = (event) => {
    const last = points.length - 1;
    const from = active === null ? last : active;
    const steps = {
      ArrowLeft: active === null ? last : Math.max(0, from - 1),
      ArrowRight: Math.min(last, from + 1),
      Home: 0,
      End: last,
    };
    if (event.key === "Escape") return show(null);
    if (!Object.hasOwn(steps, event.key)) return;
    event.preventDefault();
    show(steps[event.key]);
    announce([points[active].title || points[active].name, ...points[active].lines].join(", "));
  };
}

function showTip(point, left, top) {
  const tip = document.getElementById("tooltip");
  tip.replaceChildren(h("b", null, point.title || point.name), ...point.lines.map((line) => h("div", null, line)));
  tip.hidden = false;
  const room = document.documentElement.clientWidth - tip.offsetWidth - 8;
  tip.style.left = `${Math.max(8, Math.min(room, left - tip.offsetWidth / 2))}px`;
  tip.style.top = `${Math.max(8, top - tip.offsetHeight - 4)}px`;
}

function hideTip() {
  document.getElementById("tooltip").hidden = true;
}
