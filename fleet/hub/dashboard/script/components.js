// Building blocks shared by the views.

const statuses = ["healthy", "attention", "stale"];
const statusWords = { healthy: "Healthy", attention: "Needs attention", stale: "Stale" };
const statusColours = { healthy: "var(--tier-safe)", attention: "var(--tier-caution)", stale: "var(--control)" };
const tiers = ["safe", "caution", "warning"];
const tierColours = { safe: "var(--tier-safe)", caution: "var(--tier-caution)", warning: "var(--tier-warning)" };
const platformWords = { linux: "Linux", macos: "macOS" };

const platformName = (platform) =>
  Object.hasOwn(platformWords, platform) ? platformWords[platform] : textOf(platform) || "unknown";
const known = (table, key) => (Object.hasOwn(table, key) ? table[key] : null);

function statusPill(status) {
  return h("span", { class: `pill ${statuses.includes(status) ? status : ""}` }, known(statusWords, status) || textOf(status));
}

const tierPill = (tier) => h("span", { class: `pill ${tiers.includes(tier) ? tier : ""}` }, textOf(tier) || "unknown");

function hostLink(host) {
  return h("a", { class: "name", href: hostAddress(host), "data-keep": `host ${host}` }, textOf(host));
}

let lastId = 0;

// A titled panel; `options.size` is "wide", "narrow" or "full", `options.about` a line beside the title.
function panel(title, options, ...children) {
  const id = `panel-${++lastId}`;
  return h(
    "section",
    { class: `panel ${options.size || ""}`, "aria-labelledby": id },
    h("header", null, h("h2", { id }, title), options.about && h("p", null, options.about), options.tools),
    children,
  );
}

// A key figure: `value` is emphasised, `more` are lines below it.
function figure(title, value, ...more) {
  return h(
    "article",
    { class: "figure" },
    h("h2", null, title),
    h("p", { class: "value" }, value),
    h("div", { class: "more" }, more),
  );
}

// A stacked bar with a legend; parts are { label, amount, text, colour, href }.
function stripe(parts) {
  const total = parts.reduce((sum, part) => sum + part.amount, 0);
  const shown = parts.filter((part) => part.amount > 0);
  return [
    h(
      "div",
      { class: "stripe", "aria-hidden": "true" },
      shown.map((part) =>
        h("i", {
          style: `width:${(part.amount / total) * 100}%;background:${part.colour}`,
          title: `${part.label}: ${part.text}`,
        }),
      ),
    ),
    h(
      "ul",
      { class: "keys" },
      parts.map((part) => {
        const content = [
          h("span", { class: "dot", style: `background:${part.colour}` }),
          part.label,
          " ",
          h("b", null, part.text),
        ];
        return h("li", null, part.href ? h("a", { href: part.href, "data-keep": `key ${part.label}` }, content) : content);
      }),
    ),
  ];
}

function bar(fraction, alarming = false) {
  const width = Math.max(0, Math.min(1, fraction)) * 100;
  return h("div", { class: "bar", "aria-hidden": "true" }, h("i", { class: alarming && "bad-fill", style: `width:${width}%` }));
}

// A ranking with bars; items are { name, amount, text }.
function ranks(items) {
  const most = Math.max(1, ...items.map((item) => item.amount));
  return h(
    "ol",
    { class: "ranks" },
    items.map((item) =>
      h(
        "li",
        null,
        h("div", { class: "row" }, h("span", { title: item.title }, item.name), h("span", null, item.text)),
        bar(item.amount / most),
      ),
    ),
  );
}

function diskCell(report) {
  const total = numeric(report.volumeTotalBytes);
  if (total < 1 || typeof report.volumeAvailableBytes !== "number") return h("span", { class: "soft" }, "–");
  const free = report.volumeAvailableBytes / total;
  return h(
    "div",
    { class: "disk", title: `${formatBytes(report.volumeAvailableBytes)} of ${formatBytes(total)} free` },
    h("span", { class: free < 0.1 && "bad" }, formatPercent(free)),
    bar(free, free < 0.1),
  );
}

function freedCell(report, bytes) {
  return [formatBytes(bytes), !reportsFreed(report) && bytes > 0 && h("span", { class: "under" }, "removed")];
}

function runPill(run) {
  if (numeric(run.failures) > 0) return h("span", { class: "pill failed" }, `${formatCount(run.failures)} failed`);
  if (run.succeeded === false) return h("span", { class: "pill failed" }, "Failed");
  if (run.dryRun) return h("span", { class: "pill" }, "Dry run");
  return h("span", { class: "pill healthy" }, "Succeeded");
}

// An empty state.
function blank(title, text, ...more) {
  return h("div", { class: "blank" }, title && h("h2", null, title), text && h("p", null, text), more);
}

function blankPage(title, text, ...more) {
  const page = blank(title, text, ...more);
  page.classList.add("page");
  return page;
}

function skeleton(heights) {
  return h(
    "div",
    { "aria-busy": "true" },
    h("p", { class: "unseen" }, "Loading"),
    heights.map((height) => h("div", { class: "skeleton", style: `height:${height}px;margin-bottom:20px` })),
  );
}

// A view's heading; `tools` are its buttons.
function heading(title, about, ...tools) {
  return h(
    "div",
    { class: "head" },
    h("div", null, h("h1", null, title), about && h("p", null, about)),
    h("div", { class: "tools" }, tools),
  );
}

function selectField(label, value, options, onchange) {
  return h(
    "label",
    null,
    label,
    h(
      "select",
      { onchange: (event) => onchange(event.target.value), "data-keep": `filter ${label}` },
      options.map(([key, text]) => h("option", { value: key, selected: key === value }, text)),
    ),
  );
}

function searchField(label, value, placeholder, oninput) {
  return h(
    "label",
    { class: "grow" },
    label,
    h("input", {
      type: "search",
      value,
      placeholder,
      autocomplete: "off",
      spellcheck: "false",
      "data-keep": `filter ${label}`,
      oninput: (event) => oninput(event.target.value),
    }),
  );
}
