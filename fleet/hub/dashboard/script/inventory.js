// The rows of all hosts, read in parts so that neither the hub nor the browser is held up by a large fleet.

const partSize = 500;

// What the tables show of a row. The rest of a report is let go: ten thousand of them would be tens of megabytes.
function slim(row) {
  const latest = mapOf(row.latest);
  const {
    platform,
    policyName,
    tidraVersion,
    reclaimableBytes,
    disposedBytesTotal,
    failures,
    dryRun,
    volumeTotalBytes,
    volumeAvailableBytes,
    quarantineBytes,
  } = latest;
  return {
    host: textOf(row.host),
    status: textOf(row.status),
    statusReasons: listOf(row.statusReasons).map(textOf),
    lastSeen: textOf(row.lastSeen),
    note: textOf(row.note),
    tags: Object.entries(mapOf(latest.tags)).map(([key, value]) => `${key}=${textOf(value)}`),
    latest: {
      platform: textOf(platform),
      policyName: textOf(policyName),
      tidraVersion: textOf(tidraVersion),
      reclaimableBytes,
      disposedBytesTotal,
      failures,
      dryRun,
      volumeTotalBytes,
      volumeAvailableBytes,
      quarantineBytes,
    },
  };
}

const inventory = { rows: [], complete: false };

// Reads every host. `onpart` is called when more rows are to be seen than before; a repeated reading replaces the rows only at
// its end, so that the table does not shrink meanwhile.
async function loadInventory(onpart) {
  const rows = new Map(); // by host: a host that comes or goes meanwhile moves the others, and one could be read twice
  for (let offset = 0; ;) {
    const part = await api.hosts({ limit: partSize, offset });
    for (const row of part.rows) rows.set(textOf(row.host), slim(row));
    if (part.total === null || part.rows.length === 0 || offset + part.rows.length >= part.total) break;
    offset += part.rows.length; // a hub may send less than it is asked for
    if (!inventory.complete) {
      inventory.rows = [...rows.values()];
      onpart(rows.size, part.total);
    }
  }
  inventory.rows = [...rows.values()];
  inventory.complete = true;
  return inventory.rows;
}

// Hosts that are not healthy: at most `limit` of them, both statuses among them when there are both, and how many there are.
async function loadUnhealthy(limit) {
  const first = await api.hosts({ status: "attention", limit, offset: 0 });
  const ofStatus = (rows, status) => rows.filter((row) => row.status === status);
  // A hub that sends the whole list has sent the stale ones too.
  const second = first.total === null ? first : await api.hosts({ status: "stale", limit, offset: 0 });
  const attention = ofStatus(first.rows, "attention");
  const stale = ofStatus(second.rows, "stale");
  const total = first.total === null ? attention.length + stale.length : first.total + numeric(second.total);
  const staleShown = Math.min(stale.length, Math.max(Math.floor(limit / 2), limit - attention.length));
  return { rows: [...attention.slice(0, limit - staleShown), ...stale.slice(0, staleShown)].map(slim), total };
}
