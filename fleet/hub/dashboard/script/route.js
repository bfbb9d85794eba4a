// The URL fragment holds view and filters, so that it can be shared: "#/hosts?status=stale&q=web".

function decode(text) {
  try {
    return decodeURIComponent(text);
  } catch {
    return text; // a stray "%": kept literally
  }
}

// `view`, `name` (a host or a policy, else "") and the filters.
function parseRoute(fragment) {
  const [path, query = ""] = fragment.replace(/^#\/?/, "").split(/\?(.*)/s);
  const [view, ...rest] = path.split("/");
  const name = decode(rest.join("/"));
  const filters = Object.fromEntries(new URLSearchParams(query));
  if (view === "host" && name) return { view: "host", name, filters };
  if (view === "policies") return { view, name, filters };
  if (view === "hosts" || view === "activity") return { view, name: "", filters };
  return { view: "overview", name: "", filters };
}

function fragmentOf(view, name, filters) {
  const path = view === "overview" ? "#/" : `#/${view}${name ? "/" + encodeURIComponent(name) : ""}`;
  const given = Object.entries(filters || {}).filter(([, value]) => value !== "" && value !== null && value !== undefined);
  return given.length ? `${path}?${new URLSearchParams(given)}` : path;
}

// Stores filters in the URL without a history entry per keystroke.
function keepFilters(route, filters) {
  history.replaceState(null, "", fragmentOf(route.view, route.name, filters));
}

const hostAddress = (host) => fragmentOf("host", textOf(host));
