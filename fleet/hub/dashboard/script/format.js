// Numbers and times in the reader's locale. Sizes are in units of 1024, named as in the rest of the program.

const units = ["B", "KB", "MB", "GB", "TB", "PB", "EB"];
const whole = new Intl.NumberFormat(undefined, { maximumFractionDigits: 0 });
const tenths = new Intl.NumberFormat(undefined, { maximumFractionDigits: 1 });
const percents = new Intl.NumberFormat(undefined, { style: "percent", maximumFractionDigits: 0 });
const relatives = new Intl.RelativeTimeFormat(undefined, { numeric: "auto" });
const exactTimes = new Intl.DateTimeFormat(undefined, { dateStyle: "full", timeStyle: "long" });
const shortTimes = new Intl.DateTimeFormat(undefined, { dateStyle: "medium", timeStyle: "short" });
const clockTimes = new Intl.DateTimeFormat(undefined, { timeStyle: "short" });
const shortDays = new Intl.DateTimeFormat(undefined, { day: "numeric", month: "short" });
const longDays = new Intl.DateTimeFormat(undefined, { dateStyle: "full" });

// Untrusted values: a host may omit a number or send another type.
const numeric = (value) => (typeof value === "number" && Number.isFinite(value) ? value : 0);
const textOf = (value) => (value === null || value === undefined ? "" : String(value));

const formatCount = (value) => whole.format(numeric(value));
// Whole per cent, rounded down as in the hub's reasons.
const formatPercent = (fraction) => percents.format(Math.floor(fraction * 100 + 1e-9) / 100);

// `count` with its noun.
const counted = (count, one, many) => `${formatCount(count)} ${numeric(count) === 1 ? one : many || one + "s"}`;

// The power of 1024 to display a size in.
function unitOf(bytes) {
  const size = Math.abs(bytes);
  let power = 0;
  while (power < units.length - 1 && size >= 1024 ** (power + 1) * 0.9995) ++power;
  return power;
}

function formatBytes(bytes, power = unitOf(numeric(bytes))) {
  const value = numeric(bytes) / 1024 ** power;
  const digits = power >= 3 && Math.abs(value) < 100 ? tenths : whole;
  return `${digits.format(value)}\u00a0${units[power]}`;
}

// Older agents report what they removed, not what that freed: then the former stands in, with its own word.
const reportsFreed = (from) => typeof from.freedBytes === "number" || typeof from.freedBytesTotal === "number";
const freedBytes = (from) => numeric(from.freedBytes ?? from.disposedBytes);
const freedBytesTotal = (from) => numeric(from.freedBytesTotal ?? from.disposedBytesTotal);
const freedWord = (from) => (reportsFreed(from) ? "freed" : "removed");

// Parses an ISO 8601 text; null when invalid.
function parseTime(text) {
  const time = new Date(textOf(text));
  return Number.isNaN(time.getTime()) ? null : time;
}

function relativeWords(time, now = Date.now()) {
  const seconds = Math.round((time.getTime() - now) / 1000);
  const size = Math.abs(seconds);
  if (size < 45) return relatives.format(0, "second");
  if (size < 3600) return relatives.format(Math.round(seconds / 60) || -1, "minute");
  if (size < 86400) return relatives.format(Math.round(seconds / 3600), "hour");
  if (size < 86400 * 60) return relatives.format(Math.round(seconds / 86400), "day");
  return relatives.format(Math.round(seconds / 86400 / 30.4), "month");
}

// A relative time with the exact one as tooltip.
function timeElement(text) {
  const time = parseTime(text);
  if (!time) return h("span", { class: "soft" }, "unknown");
  return h(
    "time",
    { datetime: time.toISOString(), title: exactTimes.format(time), "data-relative": true },
    relativeWords(time),
  );
}

// Updates the relative times under `parent`.
function refreshTimes(parent) {
  for (const node of parent.querySelectorAll("time[data-relative]")) {
    node.textContent = relativeWords(new Date(node.getAttribute("datetime")));
  }
}

// Local midnight of a "yyyy-MM-dd" text.
function parseDay(text) {
  const [year, month, day] = textOf(text).split("-").map(Number);
  return new Date(year, (month || 1) - 1, day || 1);
}

function formatDuration(seconds) {
  const size = numeric(seconds);
  const unit = (value, name) =>
    new Intl.NumberFormat(undefined, { style: "unit", unit: name, unitDisplay: "short", maximumFractionDigits: 1 }).format(
      value,
    );
  if (size < 90) return unit(size < 10 ? size : Math.round(size), "second");
  if (size < 5400) return unit(Math.round(size / 60), "minute");
  if (size < 172800) return unit(size / 3600, "hour");
  return unit(size / 86400, "day");
}

// "tierNotAutoCleaned" as words.
function words(camelCase) {
  const spaced = textOf(camelCase)
    .replace(/([a-z])([A-Z])/g, "$1 $2")
    .toLowerCase();
  return spaced.charAt(0).toUpperCase() + spaced.slice(1);
}
