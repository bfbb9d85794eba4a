// One host: its condition, findings and removals, and why items were skipped.

const skipWords = {
  tierNeverRemoved: "Its tier is never removed",
  tierNotAutoCleaned: "Its tier is not cleaned unattended",
  ruleNeverRemoved: "Its rule is never removed",
  pathProtected: "Its path is protected",
  categoryNotAllowed: "Its category is not allowed",
  ecosystemNotAllowed: "Its ecosystem is not allowed",
  tooRecent: "Used too recently",
  idleUnknown: "Last use is unknown",
  noEvidence: "Nothing shows that a tool made it",
  tooSmall: "Too small",
  overBudget: "Over the budget of a run",
};

function hostFigures(record, latest) {
  const total = numeric(latest.volumeTotalBytes);
  const available = latest.volumeAvailableBytes;
  const free = total > 0 && typeof available === "number" ? available / total : null;
  return h(
    "div",
    { class: "figures even" },
    figure(
      "Reclaimable now",
      formatBytes(latest.reclaimableBytes),
      h(
        "ul",
        null,
        h("li", null, counted(latest.findings, "finding")),
        h("li", null, `${formatBytes(latest.plannedBytes)} chosen by the policy`),
      ),
    ),
    figure(
      "Freed by Tidra",
      formatBytes(freedBytesTotal(latest)),
      h(
        "ul",
        null,
        h("li", null, counted(latest.disposedItemsTotal, "item"), !reportsFreed(latest) && ", as removed"),
        h("li", null, `in ${counted(latest.runsTotal, "run")}`),
        reportsFreed(latest) && h("li", null, `${formatBytes(latest.disposedBytesTotal)} removed`),
      ),
    ),
    figure(
      "Last run",
      timeElement(latest.startedAt),
      runPill(latest),
      h(
        "ul",
        null,
        h(
          "li",
          null,
          latest.dryRun
            ? "nothing was removed"
            : `${formatBytes(freedBytes(latest))} ${freedWord(latest)}, ${formatDuration(latest.durationSeconds)}`,
        ),
      ),
    ),
    figure(
      "Disk free",
      free === null ? "–" : h("span", { class: free < 0.1 && "bad" }, formatPercent(free)),
      free === null ? "not reported" : [bar(free, free < 0.1), `${formatBytes(available)} of ${formatBytes(total)}`],
    ),
    figure("Quarantine", formatBytes(latest.quarantineBytes), counted(latest.quarantineItems, "item")),
  );
}

function historyPoints(record) {
  return listOf(record.history)
    .map((point) => ({ ...mapOf(point), at: parseTime(mapOf(point).time) }))
    .filter((point) => point.at);
}

// Axis labels: the time of day for points within two days, else the date.
function pointName(points) {
  const span = points.length ? points.at(-1).at - points[0].at : 0;
  return span < 2 * 86400000 ? (point) => clockTimes.format(point.at) : (point) => shortDays.format(point.at);
}

function reclaimableChart(points) {
  if (points.length < 2) return blank(null, "There is a line to draw after the second report.");
  const name = pointName(points);
  return chart({
    kind: "line",
    label: "Reclaimable over time",
    points: points.map((point) => ({
      value: numeric(point.reclaimableBytes),
      name: name(point),
      title: shortTimes.format(point.at),
      lines: [`${formatBytes(point.reclaimableBytes)} reclaimable`],
    })),
  });
}

const runsShown = 60;

function freedChart(points, word) {
  const recent = points.slice(-runsShown);
  if (!recent.some((point) => freedBytes(point) > 0)) return blank(null, "No run has freed anything yet.");
  const name = pointName(recent);
  return chart({
    kind: "bars",
    label: "Freed per run",
    points: recent.map((point) => {
      const failed = numeric(point.failures) > 0;
      const lines = [point.dryRun ? "dry run" : `${formatBytes(freedBytes(point))} ${word}`];
      if (failed) lines.push(counted(point.failures, "failure"));
      return {
        value: freedBytes(point),
        name: name(point),
        title: shortTimes.format(point.at),
        lines,
        mark: failed ? "fail" : point.dryRun && "dry",
      };
    }),
  });
}

function freedAbout(points) {
  const recent = points.slice(-runsShown);
  const failed = recent.filter((point) => numeric(point.failures) > 0).length;
  return [
    points.length > runsShown && `last ${formatCount(runsShown)} runs`,
    failed > 0 && h("span", { class: "bad" }, h("span", { class: "dot" }), `${formatCount(failed)} with failures`),
  ]
    .filter(Boolean)
    .flatMap((part, index) => (index ? [" · ", part] : [part]));
}

function findingTable(latest, state, onstate) {
  const rows = listOf(latest.topItems).map(mapOf);
  if (!rows.length) return blank(null, "The last run found nothing.");
  return table(
    [
      {
        key: "path",
        label: "Path",
        value: (row) => textOf(row.path),
        cell: (row) => [h("span", { class: "name" }, textOf(row.label)), h("span", { class: "path" }, textOf(row.path))],
      },
      { key: "tier", label: "Tier", value: (row) => tiers.indexOf(row.tier), cell: (row) => tierPill(row.tier) },
      { key: "category", label: "Category", value: (row) => textOf(row.category), cell: (row) => textOf(row.category) },
      {
        key: "idle",
        label: "Idle",
        number: true,
        minor: true,
        value: (row) => (typeof row.idleDays === "number" ? row.idleDays : null),
        cell: (row) => (typeof row.idleDays === "number" ? counted(row.idleDays, "day") : "–"),
      },
      { key: "size", label: "Size", number: true, value: (row) => numeric(row.bytes), cell: (row) => formatBytes(row.bytes) },
    ],
    rows,
    { caption: "Largest findings", state, onstate },
  );
}

function skippedRanks(latest) {
  const items = Object.entries(mapOf(latest.skippedByReason))
    .filter(([, count]) => numeric(count) > 0)
    .sort(([, a], [, b]) => b - a);
  if (!items.length) return blank(null, "Nothing was left out.");
  return ranks(
    items.map(([reason, count]) => ({
      name: known(skipWords, reason) || words(reason),
      title: reason,
      amount: count,
      text: formatCount(count),
    })),
  );
}

function factList(record, latest) {
  const tags = Object.entries(mapOf(latest.tags)).map(([key, value]) => `${key}=${textOf(value)}`);
  const facts = [
    ["Platform", platformName(latest.platform)],
    ["Version", `Tidra ${textOf(latest.tidraVersion)}, catalogue ${textOf(latest.catalogVersion)}`],
    ["Policy", [textOf(latest.policyName), latest.dryRun ? " (dry run)" : ""]],
    ["Runs every", latest.intervalSeconds ? formatDuration(latest.intervalSeconds) : "no schedule reported"],
    ["Tags", tags.length ? tags.join(", ") : "none"],
    ["Failures", `${formatCount(latest.failures)} in the last run, ${formatCount(latest.failuresTotal)} in all`],
    ["Purged", `${formatBytes(latest.purgedBytes)} in the last run`],
    ["First report", timeElement(record.firstSeen)],
    ["Last report", [timeElement(record.lastSeen), ` (${counted(record.reports, "report")})`]],
    ["Run", h("span", { class: "mono" }, textOf(latest.runID))],
    [
      "Audit log",
      [
        `record ${formatCount(latest.auditSeq)}`,
        latest.auditHeadHash && h("span", { class: "under mono" }, textOf(latest.auditHeadHash)),
      ],
    ],
  ];
  return h(
    "dl",
    { class: "facts" },
    facts.map(([name, value]) => [h("dt", null, name), h("dd", null, value)]),
  );
}

const hostView = {
  title: (route) => route.name,
  create(route, rerender, reload) {
    let state = { sort: "size", descending: true };
    let data = null;
    const change = async (dialog, address) => {
      if (!(await dialog)) return;
      if (address) location.hash = address;
      else await reload();
    };
    const buttons = (record) => [
      h(
        "button",
        { type: "button", "data-keep": "note", onclick: () => change(editNote(route.name, textOf(record.note))) },
        record.note ? "Edit note" : "Add note",
      ),
      h(
        "button",
        {
          type: "button",
          class: "danger",
          "data-keep": "remove",
          onclick: () => change(confirmHostRemoval(route.name), "#/hosts"),
        },
        "Remove host",
      ),
    ];
    return {
      placeholder: () => skeleton([50, 130, 300]),
      load: () => api.host(route.name),
      missing: () =>
        blankPage(
          "This host is not in the inventory",
          `The hub knows no host named “${route.name}”. It may have been removed.`,
          h("a", { href: "#/hosts" }, "All hosts"),
        ),
      render(record) {
        data = record;
        const latest = mapOf(record.latest);
        const points = historyPoints(record);
        const reasons = listOf(record.statusReasons).map(textOf);
        return [
          h("p", { class: "crumb" }, h("a", { href: "#/hosts", "data-keep": "hosts" }, "Hosts")),
          heading(
            route.name,
            [record.status && [statusPill(record.status), " "], "reported ", timeElement(record.lastSeen)],
            buttons(record),
          ),
          reasons.length > 0 && h("p", { class: `reasons ${record.status === "stale" ? "stale" : ""}` }, reasons.join(" · ")),
          record.note && h("p", { class: "note" }, textOf(record.note)),
          hostFigures(record, latest),
          h(
            "div",
            { class: "grid" },
            panel("Reclaimable over time", { about: counted(points.length, "report") }, reclaimableChart(points)),
            panel("Freed per run", { about: freedAbout(points) }, freedChart(points, freedWord(latest))),
            panel(
              "Largest findings",
              { size: "full" },
              findingTable(latest, state, (next) => {
                state = next;
                rerender(data);
              }),
            ),
            panel("Why items were skipped", {}, skippedRanks(latest)),
            panel("Facts", {}, factList(record, latest)),
          ),
        ];
      },
    };
  },
};
