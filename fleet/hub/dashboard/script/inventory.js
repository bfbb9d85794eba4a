// The rows of all hosts, read in pages so that a large fleet blocks neither hub nor browser.

const partSize = 500;

// What the tables show. Whole reports of ten thousand hosts would take tens of megabytes.
const shownNames = ["platform", "policyName", "tidraVersion"];
const shownFigures = [
  "reclaimableBytes",
  "disposedBytesTotal",
  "freedBytesTotal",
  "failures",
  "dryRun",
  "volumeTotalBytes",
  "volumeAvailableBytes",
  "quarantineBytes",
];

function slim(row) {
  const latest = mapOf(row.latest);
  return {
    host: textOf(row.host),
    status: textOf(row.status),
    statusReasons: listOf(row.statusReasons).map(textOf),
    lastSeen: textOf(row.lastSeen),
    note: textOf(row.note),
    tags: Object.entries(mapOf(latest.tags)).map(([key, value]) => `${key}=${textOf(value)}`),
    latest: Object.fromEntries([
      ...shownNames.map((name) => [name, textOf(latest[name])]),
      ...shownFigures.map((name) => [name, latest[name]]),
    ]),
  };
}

const inventory = { rows: [], complete: false };

// Reads every host. `onpart` is called as more rows become visible; a reload replaces the rows only at its end, so that
// the table does not shrink meanwhile.
async function loadInventory(onpart) {
  const rows = new Map(); // by host: when hosts come or go the offsets shift, and a row may be read twice
  for (let offset = 0; ;) {
    const part = await api.hosts({ limit: partSize, offset });
    for (const row of part.rows) rows.set(textOf(row.host), slim(row));
    if (part.total === null || part.rows.length === 0 || offset + part.rows.length >= part.total) break;
    offset += part.rows.length; // a hub may return fewer than requested
    if (!inventory.complete) {
      inventory.rows = [...rows.values()];
      onpart(rows.size, part.total);
    }
  }
  inventory.rows = [...rows.values()];
  inventory.complete = true;
  return inventory.rows;
}

// At most `limit` unhealthy hosts, of both statuses if both exist, and their total.
async function loadUnhealthy(limit) {
  const first = await api.hosts({ status: "attention", limit, offset: 0 });
  const ofStatus = (rows, status) => rows.filter((row) => row.status === status);
  // Without paging the first response includes the stale ones.
  const second = first.total === null ? first : await api.hosts({ status: "stale", limit, offset: 0 });
  const attention = ofStatus(first.rows, "attention");
  const stale = ofStatus(second.rows, "stale");
  const total = first.total === null ? attention.length + stale.length : first.total + numeric(second.total);
  const staleShown = Math.min(stale.length, Math.max(Math.floor(limit / 2), limit - attention.length));
  return { rows: [...attention.slice(0, limit - staleShown), ...stale.slice(0, staleShown)].map(slim), total };
}
