// Tables sorted by their headers, with paging, so that ten thousand rows cost no more than fifty.

const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });
const pageSize = 50;

function compareValues(a, b) {
  if (a === b) return 0;
  // Unknown values come last in both directions: see sortRows.
  if (typeof a === "string" && typeof b === "string") return collator.compare(a, b);
  return a < b ? -1 : 1;
}

// A sorted copy. Rows with null values stay last in both directions.
function sortRows(rows, valueOf, descending) {
  const decorated = rows.map((row) => [valueOf(row), row]);
  decorated.sort(([a], [b]) => {
    if (a === null || b === null) return (a === null) - (b === null);
    return descending ? compareValues(b, a) : compareValues(a, b);
  });
  return decorated.map(([, row]) => row);
}

function headerCell(column, state, onsort) {
  const sorted = state.sort === column.key;
  const attributes = {
    scope: "col",
    class: column.number ? "number" : "",
    "aria-sort": sorted && (state.descending ? "descending" : "ascending"),
  };
  if (!column.value) return h("th", attributes, column.label);
  const sort = () => onsort(column.key, sorted ? !state.descending : Boolean(column.number));
  return h("th", attributes, h("button", { type: "button", "data-keep": `sort ${column.key}`, onclick: sort }, column.label));
}

// Columns are { key, label, value(row) for sorting, cell(row), number, minor }. `options`: caption, state ({ sort,
// descending, page }), onstate(state) after sorting or paging, address(row), the link of a row.
function table(columns, rows, options) {
  const state = options.state || {};
  const change = (next) => options.onstate({ ...state, ...next });
  const pages = Math.max(1, Math.ceil(rows.length / pageSize));
  const page = Math.min(Math.max(1, state.page || 1), pages);
  const column = columns.find((each) => each.key === state.sort && each.value);
  const sorted = column ? sortRows(rows, column.value, state.descending) : rows;
  const shown = sorted.slice((page - 1) * pageSize, page * pageSize);
  const open = (event, row) => {
    if (event.target.closest("a, button") || String(getSelection())) return;
    location.hash = options.address(row);
  };
  const body = shown.map((row) =>
    h(
      "tr",
      options.address && { class: "opens", onclick: (event) => open(event, row) },
      columns.map((each) =>
        h(
          "td",
          { class: `${each.number ? "number" : ""} ${each.minor ? "minor" : ""}`, "data-label": each.label },
          each.cell(row),
        ),
      ),
    ),
  );
  const head = columns.map((each) =>
    options.onstate
      ? headerCell(each, state, (sort, descending) => change({ sort, descending, page: 1 }))
      : h("th", { scope: "col", class: each.number ? "number" : "" }, each.label),
  );
  return [
    h(
      "div",
      { class: "scroll" },
      h(
        "table",
        { class: "stacks" },
        h("caption", { class: "unseen" }, options.caption),
        h("thead", null, h("tr", null, head)),
        h("tbody", null, body),
      ),
    ),
    pages > 1 && pager(page, pages, rows.length, (next) => change({ page: next })),
  ];
}

function pager(page, pages, count, turn) {
  const first = (page - 1) * pageSize + 1;
  const button = (text, target) =>
    h(
      "button",
      { type: "button", disabled: target < 1 || target > pages, "data-keep": `page ${text}`, onclick: () => turn(target) },
      text,
    );
  return h(
    "div",
    { class: "pager" },
    h(
      "span",
      { role: "status" },
      `${formatCount(first)}–${formatCount(Math.min(count, page * pageSize))} of ${formatCount(count)}`,
    ),
    h(
      "div",
      null,
      button("Previous", page - 1),
      h("span", null, `Page ${formatCount(page)} of ${formatCount(pages)}`),
      button("Next", page + 1),
    ),
  );
}
