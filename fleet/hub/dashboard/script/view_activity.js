// The hub's event log, newest first, by day.

const kindWords = {
  reportReceived: "Report",
  reportRejected: "Report refused",
  hostRemoved: "Host removed",
  policyUpdated: "Policy updated",
  policyRemoved: "Policy removed",
  noteUpdated: "Note",
  hubStarted: "Hub started",
};
const calmKinds = ["reportReceived", "noteUpdated", "hubStarted", "policyUpdated"];

const kindName = (kind) => known(kindWords, kind) || words(kind);

function newestFirst(events) {
  return sortRows(events.map(mapOf), (event) => parseTime(event.time)?.getTime() ?? null, true);
}

function filterEvents(events, { q = "", kind = "" }) {
  const needle = q.trim().toLowerCase();
  return events.filter(
    (event) =>
      (!kind || event.kind === kind) &&
      (!needle || `${textOf(event.host)}\n${textOf(event.message)}\n${kindName(event.kind)}`.toLowerCase().includes(needle)),
  );
}

function eventRow(event) {
  const time = parseTime(event.time);
  const colour = calmKinds.includes(event.kind) ? "soft" : "warn";
  return h(
    "li",
    null,
    time
      ? h("time", { datetime: time.toISOString(), title: exactTimes.format(time), class: "soft" }, clockTimes.format(time))
      : h("span", { class: "soft" }, "–"),
    h("span", { class: `kind ${colour}` }, h("span", { class: "dot" }), kindName(event.kind)),
    h("span", { class: "what" }, event.host && [hostLink(event.host), " "], textOf(event.message)),
    h("span", { class: "number soft" }, numeric(event.bytes) > 0 && formatBytes(event.bytes)),
  );
}

function eventList(events) {
  const list = h("div", { class: "events" });
  let day = null;
  for (const event of events) {
    const time = parseTime(event.time);
    const name = time ? longDays.format(time) : "Without a time";
    if (name !== day) list.append(h("h2", null, name), h("ul"));
    day = name;
    list.lastElementChild.append(eventRow(event));
  }
  return list;
}

function exportEvents(events) {
  const header = ["time", "kind", "host", "message", "bytes"];
  downloadCsv(
    "activity.csv",
    header,
    events.map((event) => header.map((key) => event[key])),
  );
}

const activityView = {
  title: "Activity",
  create(route, rerender) {
    let filters = route.filters;
    let events = [];
    const controls = h("form", {
      class: "filters",
      role: "search",
      "aria-label": "Find events",
      onsubmit: (event) => event.preventDefault(),
    });
    const results = h("div");
    const change = (next) => {
      filters = { ...filters, ...next };
      keepFilters(route, filters);
      show();
      announce(counted(filterEvents(events, filters).length, "event"));
    };
    const showControls = () => {
      const kinds = [...new Set([...Object.keys(kindWords), ...events.map((event) => textOf(event.kind))])];
      replaceContent(
        controls,
        searchField("Text", filters.q || "", "Host or message", (q) => change({ q })),
        selectField("Kind", filters.kind || "", [["", "Any"], ...kinds.map((kind) => [kind, kindName(kind)])], (kind) =>
          change({ kind }),
        ),
        h(
          "button",
          { type: "button", class: "push", onclick: () => exportEvents(filterEvents(events, filters)) },
          "Export CSV",
        ),
      );
    };
    const show = () => {
      const rows = filterEvents(events, filters);
      replaceContent(
        results,
        panel(
          counted(rows.length, "event"),
          { size: "full", about: events.length >= 200 ? "the newest 200 are searched" : "" },
          rows.length ? eventList(rows) : blank("No event matches", "Change the filters to see more."),
        ),
      );
    };
    return {
      placeholder: () => skeleton([60, 520]),
      load: () => api.events(),
      follow(next) {
        filters = next.filters;
        showControls();
        show();
      },
      render(data) {
        events = newestFirst(data);
        if (!events.length)
          return blankPage("Nothing has happened yet", "Reports, policy changes and removals are listed here.");
        showControls();
        show();
        return [heading("Activity"), controls, results];
      },
    };
  },
};
