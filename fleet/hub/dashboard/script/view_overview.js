// The fleet at a glance.

function overviewFigures(summary) {
  const byStatus = mapOf(summary.hostsByStatus);
  const byTier = mapOf(summary.bytesByTier);
  const reporting = numeric(summary.hosts) - numeric(byStatus.stale);
  const total = numeric(summary.volumeTotalBytes);
  const low = numeric(summary.hostsLowDisk);
  const failures = numeric(summary.failuresLast24h);
  const older = numeric(summary.hostsWithoutFreed);
  return h(
    "div",
    { class: "figures" },
    figure(
      "Hosts reporting",
      [formatCount(reporting), h("small", null, ` of ${formatCount(summary.hosts)}`)],
      stripe(
        statuses.map((status) => ({
          label: statusWords[status],
          amount: numeric(byStatus[status]),
          text: formatCount(byStatus[status]),
          colour: statusColours[status],
          href: fragmentOf("hosts", "", { status }),
        })),
      ),
    ),
    figure(
      "Reclaimable now",
      formatBytes(summary.reclaimableBytes),
      stripe(
        tiers.map((tier) => ({
          label: words(tier),
          amount: numeric(byTier[tier]),
          text: formatBytes(byTier[tier]),
          colour: tierColours[tier],
        })),
      ),
    ),
    figure(
      "Freed in the last 24 h",
      formatBytes(summary.freedBytesLast24h),
      h(
        "ul",
        null,
        h("li", null, `${formatBytes(summary.freedBytesLast7d)} in 7 days`),
        h("li", null, `${formatBytes(summary.freedBytesTotal)} in all`),
        older > 0 && h("li", null, `${counted(older, "host")} counted with what was removed`),
        failures > 0 && h("li", { class: "bad" }, counted(failures, "failure")),
      ),
    ),
    figure(
      "Disk pressure",
      [h("span", { class: low > 0 && "bad" }, formatCount(low)), h("small", null, low === 1 ? " host" : " hosts")],
      h(
        "ul",
        null,
        h(
          "li",
          null,
          h(
            "a",
            { href: fragmentOf("hosts", "", { sort: "disk", dir: "asc" }), "data-keep": "pressure" },
            `under ${formatPercent(0.1)} free`,
          ),
        ),
        total > 0 && h("li", null, `${formatPercent(numeric(summary.volumeAvailableBytes) / total)} of all volumes free`),
      ),
    ),
    figure(
      "Held in quarantine",
      formatBytes(summary.quarantineBytes),
      h(
        "ul",
        null,
        h("li", null, "can still be restored"),
        numeric(summary.hostsDryRun) > 0 && h("li", null, `${counted(summary.hostsDryRun, "host")} in dry run`),
      ),
    ),
  );
}

function trendChart(summary) {
  const points = listOf(summary.trend).map((point) => {
    const day = parseDay(point.day);
    const lines = [`${formatBytes(point.freedBytes)} freed`, counted(point.runs, "run")];
    if (numeric(point.failures) > 0) lines.push(counted(point.failures, "failure"));
    return { value: numeric(point.freedBytes), name: shortDays.format(day), title: longDays.format(day), lines };
  });
  if (!points.some((point) => point.value > 0)) return blank(null, "Nothing has been freed in these days.");
  return chart({ kind: "bars", points, label: "Freed per day", height: 288 });
}

function trendAbout(summary) {
  const trend = listOf(summary.trend).map(mapOf);
  const sum = (key) => trend.reduce((total, point) => total + numeric(point[key]), 0);
  const freed = `${formatBytes(sum("freedBytes"))} in ${counted(trend.length, "day")}`;
  return [freed, counted(sum("runs"), "run"), counted(sum("failures"), "failure")].join(" · ");
}

function categoryRanks(summary) {
  const items = Object.entries(mapOf(summary.bytesByCategory))
    .filter(([, bytes]) => numeric(bytes) > 0)
    .sort(([, a], [, b]) => b - a);
  if (!items.length) return blank(null, "Nothing to reclaim.");
  const shown = items.slice(0, 8);
  const rest = items.slice(8).reduce((sum, [, bytes]) => sum + numeric(bytes), 0);
  if (rest > 0) shown.push([`${counted(items.length - 8, "other category", "other categories")}`, rest]);
  return ranks(shown.map(([name, bytes]) => ({ name: name || "none", title: name, amount: bytes, text: formatBytes(bytes) })));
}

function attentionList(unhealthy) {
  if (!unhealthy.total) return blank(null, "Every host is healthy.");
  const shown = unhealthy.rows;
  return [
    table(
      [
        { label: "Host", cell: (row) => [hostLink(row.host), h("span", { class: "under" }, row.statusReasons.join(" · "))] },
        { label: "Status", number: true, cell: (row) => statusPill(row.status) },
      ],
      shown,
      { caption: "Hosts that need attention" },
    ),
    unhealthy.total > shown.length &&
      h(
        "p",
        { class: "soft" },
        h(
          "a",
          { href: fragmentOf("hosts", "", { status: "unhealthy" }), "data-keep": "all unhealthy" },
          `All ${formatCount(unhealthy.total)}`,
        ),
      ),
  ];
}

function ruleTable(summary) {
  const rows = listOf(summary.topRules).slice(0, 10);
  if (!rows.length) return blank(null, "No findings are reported.");
  return table(
    [
      {
        label: "Finding",
        cell: (row) => [h("span", { class: "name" }, textOf(row.label)), h("span", { class: "under" }, textOf(row.category))],
      },
      { label: "Tier", cell: (row) => tierPill(row.tier) },
      { label: "Hosts", number: true, cell: (row) => formatCount(row.hosts) },
      { label: "Size", number: true, cell: (row) => formatBytes(row.bytes) },
    ],
    rows,
    { caption: "Largest findings across the fleet" },
  );
}

function runTable(summary) {
  const rows = listOf(summary.recentRuns).slice(0, 10);
  if (!rows.length) return blank(null, "No run has been reported.");
  return table(
    [
      { label: "Host", cell: (row) => hostLink(row.host) },
      { label: "Result", cell: (row) => runPill(row) },
      { label: "Started", cell: (row) => timeElement(row.startedAt) },
      { label: "Freed", number: true, cell: (row) => (row.dryRun ? "–" : freedCell(row, freedBytes(row))) },
    ],
    rows,
    { caption: "Recent runs" },
  );
}

function emptyFleet() {
  return blankPage(
    "No host has reported yet",
    "Point an agent at this hub: put its address into the hub section of the host's policy. The host appears here after its next run.",
    h("p", null, h("code", null, `"hub": { "url": "${location.origin}" }`)),
  );
}

const overviewView = {
  title: "Overview",
  create() {
    return {
      placeholder: () => skeleton([130, 300, 260]),
      async load() {
        const summary = await api.summary();
        return { summary, unhealthy: numeric(summary.hosts) ? await loadUnhealthy(7) : { rows: [], total: 0 } };
      },
      render({ summary, unhealthy }) {
        if (!numeric(summary.hosts)) return emptyFleet();
        const top = listOf(summary.topReclaimable).slice(0, 10);
        return [
          h("h1", { class: "unseen" }, "Overview"),
          overviewFigures(summary),
          h(
            "div",
            { class: "grid" },
            panel("Freed per day", { size: "wide", about: trendAbout(summary) }, trendChart(summary)),
            panel("Reclaimable by category", { size: "narrow" }, categoryRanks(summary)),
            panel(
              "Needs attention",
              { about: unhealthy.total > 0 && counted(unhealthy.total, "host") },
              attentionList(unhealthy),
            ),
            panel(
              "Hosts with the most to reclaim",
              {},
              top.length
                ? ranks(
                    top.map((each) => ({
                      name: hostLink(each.host),
                      title: textOf(each.host),
                      amount: numeric(each.bytes),
                      text: formatBytes(each.bytes),
                    })),
                  )
                : blank(null, "Nothing to reclaim."),
            ),
            panel("Largest findings across the fleet", {}, ruleTable(summary)),
            panel("Recent runs", {}, runTable(summary)),
          ),
        ];
      },
    };
  },
};
