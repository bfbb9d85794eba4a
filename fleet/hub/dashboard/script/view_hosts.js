// All hosts in one table, with search, filters and sorting.

const hostColumns = [
  {
    key: "host",
    label: "Host",
    value: (row) => row.host,
    cell: (row) => [hostLink(row.host), row.tags.length > 0 && h("span", { class: "under" }, row.tags.join(" · "))],
  },
  {
    key: "status",
    label: "Status",
    value: (row) => statuses.indexOf(row.status),
    cell: (row) => [
      statusPill(row.status),
      row.statusReasons.length > 0 && h("span", { class: "under" }, row.statusReasons.join(" · ")),
    ],
  },
  {
    key: "seen",
    label: "Last report",
    number: true,
    value: (row) => row.lastSeen || null,
    cell: (row) => timeElement(row.lastSeen),
  },
  {
    key: "reclaimable",
    label: "Reclaimable",
    number: true,
    value: (row) => numeric(row.latest.reclaimableBytes),
    cell: (row) => formatBytes(row.latest.reclaimableBytes),
  },
  {
    key: "freed",
    label: "Freed",
    number: true,
    minor: true,
    value: (row) => freedBytesTotal(row.latest),
    cell: (row) => freedCell(row.latest, freedBytesTotal(row.latest)),
  },
  { key: "disk", label: "Disk free", number: true, value: freeFraction, cell: (row) => diskCell(row.latest) },
  {
    key: "policy",
    label: "Policy",
    minor: true,
    value: (row) => row.latest.policyName,
    cell: (row) => [row.latest.policyName, row.latest.dryRun === true && h("span", { class: "under" }, "dry run")],
  },
  {
    key: "platform",
    label: "Platform",
    minor: true,
    value: (row) => row.latest.platform,
    cell: (row) => [platformName(row.latest.platform), h("span", { class: "under" }, row.latest.tidraVersion)],
  },
];

function freeFraction(row) {
  const total = numeric(row.latest.volumeTotalBytes);
  return total > 0 && typeof row.latest.volumeAvailableBytes === "number" ? row.latest.volumeAvailableBytes / total : null;
}

// Every word must occur in the host's fields.
function matchesText(row, text) {
  const hay = [row.host, row.note, ...row.tags, row.latest.policyName, row.latest.tidraVersion, ...row.statusReasons]
    .join("\n")
    .toLowerCase();
  return text
    .toLowerCase()
    .split(/\s+/)
    .every((word) => hay.includes(word));
}

function filterHosts(rows, { q = "", status = "", platform = "" }) {
  return rows.filter(
    (row) =>
      (!status || row.status === status || (status === "unhealthy" && row.status !== "healthy")) &&
      (!platform || row.latest.platform === platform) &&
      (!q.trim() || matchesText(row, q.trim())),
  );
}

function exportHosts(rows) {
  const header = [
    "host",
    "status",
    "statusReasons",
    "lastSeen",
    "platform",
    "tidraVersion",
    "policyName",
    "dryRun",
    "reclaimableBytes",
    "disposedBytesTotal",
    "failures",
    "quarantineBytes",
    "volumeTotalBytes",
    "volumeAvailableBytes",
    "tags",
    "note",
    "freedBytesTotal",
  ];
  downloadCsv(
    "hosts.csv",
    header,
    rows.map((row) =>
      header.map((key) => {
        const value = Object.hasOwn(row, key) ? row[key] : row.latest[key];
        return Array.isArray(value) ? value.join("; ") : value;
      }),
    ),
  );
}

const hostsView = {
  title: "Hosts",
  create(route, rerender) {
    let filters = route.filters;
    let progress = "";
    const results = h("div");
    const controls = h("form", {
      class: "filters",
      role: "search",
      "aria-label": "Find hosts",
      onsubmit: (event) => event.preventDefault(),
    });
    const tableState = () => ({
      sort: filters.sort || "host",
      descending: filters.dir === "desc",
      page: Number(filters.page) || 1,
    });
    const change = (next) => {
      filters = { ...filters, ...next };
      keepFilters(route, filters);
      show();
      announce(counted(filterHosts(inventory.rows, filters).length, "host"));
    };
    const chosen = () =>
      sortRows(
        filterHosts(inventory.rows, filters),
        (hostColumns.find((column) => column.key === tableState().sort) || hostColumns[0]).value,
        tableState().descending,
      );
    const show = () => {
      const rows = filterHosts(inventory.rows, filters);
      const turn = (state) =>
        change({ sort: state.sort, dir: state.descending ? "desc" : "asc", page: state.page > 1 ? String(state.page) : "" });
      const sum = rows.reduce((total, row) => total + numeric(row.latest.reclaimableBytes), 0);
      replaceContent(
        results,
        panel(
          counted(rows.length, "host"),
          { size: "full", about: progress || (rows.length > 0 && `${formatBytes(sum)} reclaimable`) },
          rows.length
            ? table(hostColumns, rows, {
                caption: "Hosts",
                state: tableState(),
                onstate: turn,
                address: (row) => hostAddress(row.host),
              })
            : blank(
                "No host matches",
                "Change or clear the filters to see more.",
                h(
                  "button",
                  {
                    type: "button",
                    onclick: () => {
                      change({ q: "", status: "", platform: "", page: "" });
                      showControls();
                    },
                  },
                  "Clear filters",
                ),
              ),
        ),
      );
    };
    // Sorting on phones, where the table has no headers.
    const sortField = () => {
      const options = hostColumns.map((column) => [column.key, column.label]);
      const field = selectField("Sort by", tableState().sort, options, (sort) =>
        change({ sort, dir: hostColumns.find((column) => column.key === sort).number ? "desc" : "asc", page: "" }),
      );
      field.classList.add("narrow-only");
      return field;
    };
    const showControls = () => {
      const platforms = [...new Set(["linux", "macos", ...inventory.rows.map((row) => row.latest.platform)])].filter(Boolean);
      replaceContent(
        controls,
        searchField("Text", filters.q || "", "Name, tag, policy, version, note", (q) => change({ q, page: "" })),
        selectField(
          "Status",
          filters.status || "",
          [["", "Any"], ...statuses.map((status) => [status, statusWords[status]]), ["unhealthy", "Not healthy"]],
          (status) => change({ status, page: "" }),
        ),
        selectField(
          "Platform",
          filters.platform || "",
          [["", "Any"], ...platforms.map((platform) => [platform, platformName(platform)])],
          (platform) => change({ platform, page: "" }),
        ),
        sortField(),
        h("button", { type: "button", class: "push", onclick: () => exportHosts(chosen()) }, "Export CSV"),
      );
    };
    const part = (count, total) => {
      progress = `reading ${formatCount(count)} of ${formatCount(total)}`;
      rerender({ partial: true });
    };
    let shown = false;
    return {
      placeholder: () => skeleton([60, 520]),
      // Rows of an earlier visit are shown until reloaded.
      earlier: () => (inventory.complete && inventory.rows.length ? {} : null),
      load: () => loadInventory(part),
      follow(next) {
        filters = next.filters;
        showControls();
        show();
      },
      render(data) {
        if (!data.partial) progress = "";
        if (!inventory.rows.length) return emptyFleet();
        show();
        if (shown && data.partial) return null;
        shown = true;
        showControls();
        return [heading("Hosts"), controls, results];
      },
    };
  },
};
