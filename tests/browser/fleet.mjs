// Generates a fleet; equal arguments and time make equal fleets.

const GB = 1024 ** 3;
const DAY = 86400000;

function randomNumbers(seed) {
  let state = seed >>> 0;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

const names = ["build", "ci-runner", "web", "db", "ml", "mac-studio", "laptop", "edge"];
const findings = [
  ["node_modules", "safe", "node", "~/work/shop/node_modules"],
  ["Cargo target", "safe", "rust", "~/work/engine/target"],
  ["Docker build cache", "caution", "docker", "docker:build-cache"],
  ["Python venv", "caution", "python", "~/work/etl/.venv"],
  ["Gradle caches", "safe", "gradle", "~/.gradle/caches"],
  ["Xcode DerivedData", "safe", "xcode", "~/Library/Developer/Xcode/DerivedData"],
  ["Local models", "warning", "ai", "~/.cache/models"],
  ["npm cache", "safe", "node", "~/.npm/_cacache"],
];
const iso = (time) => new Date(time).toISOString().replace(/\.\d+Z/, "Z");

// Agents before 1.3.0 do not report it.
const freedOf = (disposed) => Math.round(disposed * 0.9);

function makeHost(index, random, now, days) {
  const kind = names[index % names.length];
  const mac = kind === "mac-studio" || kind === "laptop";
  const status = index % 17 === 5 ? "stale" : index % 9 === 4 ? "attention" : "healthy";
  const total = (mac ? 1000 : 500) * GB;
  const lowDisk = status === "attention" && index % 2 === 0;
  const failures = status === "attention" && !lowDisk ? 1 + (index % 3) : 0;
  const dryRun = index % 13 === 7;
  const lastSeen = now - (status === "stale" ? (2 + (index % 9)) * DAY : random() * 3600000);
  const base = (4 + random() * 60) * GB;
  const history = [];
  for (let day = days; day >= 0; --day) {
    const freed = dryRun ? 0 : Math.round(base * 0.12 * random());
    history.push({
      time: iso(lastSeen - day * DAY),
      reclaimableBytes: Math.round(base * (0.7 + 0.3 * Math.sin(day / 3 + index) + 0.2 * random())),
      disposedBytes: freed,
      ...(index % 5 ? { freedBytes: freedOf(freed) } : {}),
      failures: day === 0 ? failures : random() < 0.05 ? 1 : 0,
      volumeAvailableBytes: Math.round(total * 0.4),
      dryRun,
    });
  }
  const topItems = findings.map(([label, tier, category, path], rank) => ({
    label,
    tier,
    category,
    path: path.replace("~", mac ? "/Users/dev" : "/home/ci"),
    bytes: Math.round((base / (rank + 2)) * (0.5 + random() / 2)),
    ruleID: category,
    ...(rank % 3 ? { idleDays: Math.round(random() * 200) } : {}),
  }));
  const sum = (key, value) => topItems.filter((item) => item[key] === value).reduce((all, item) => all + item.bytes, 0);
  const available = Math.round(total * (lowDisk ? 0.03 + 0.06 * random() : 0.15 + random() * 0.6));
  const reasons = {
    stale: [`no report for ${Math.floor((now - lastSeen) / DAY)} d`],
    healthy: [],
    attention: lowDisk
      ? [`disk ${Math.floor((available / total) * 100)}% free`]
      : [`${failures} disposal failure${failures === 1 ? "" : "s"} in last run`],
  }[status];
  const reclaimable = topItems.reduce((all, item) => all + item.bytes, 0);
  const scale = reclaimable / history.at(-1).reclaimableBytes;
  for (const point of history) point.reclaimableBytes = Math.round(point.reclaimableBytes * scale);
  const latest = {
    schemaVersion: 1,
    host: "",
    platform: mac ? "macos" : "linux",
    tidraVersion: index % 5 ? "1.3.0" : "1.2.4",
    catalogVersion: "2026.11",
    policyName: mac ? "developer" : "agent-host",
    tags: { team: ["core", "web", "data"][index % 3], ...(index % 4 ? {} : { site: "oslo" }) },
    runID: `run-${index}-${Math.floor(random() * 1e9).toString(16)}`,
    startedAt: iso(lastSeen - 40000),
    durationSeconds: 12 + random() * 70,
    dryRun,
    succeeded: failures === 0,
    intervalSeconds: 86400,
    findings: 30 + (index % 50),
    reclaimableBytes: reclaimable,
    bytesByTier: Object.fromEntries(["safe", "caution", "warning"].map((tier) => [tier, sum("tier", tier)])),
    bytesByCategory: Object.fromEntries(
      [...new Set(topItems.map((item) => item.category))].map((category) => [category, sum("category", category)]),
    ),
    plannedItems: 12,
    plannedBytes: Math.round(reclaimable * 0.3),
    disposedItems: dryRun ? 0 : 9,
    disposedBytes: history.at(-1).disposedBytes,
    ...(index % 5
      ? {
          freedBytes: freedOf(history.at(-1).disposedBytes),
          freedBytesTotal: history.reduce((all, point) => all + freedOf(point.disposedBytes), 0),
        }
      : {}),
    failures,
    purgedItems: 2,
    purgedBytes: Math.round(random() * GB),
    skippedByReason: { tooRecent: 14, tierNotAutoCleaned: 7, tooSmall: 5, pathProtected: index % 3 },
    disposedBytesTotal: history.reduce((all, point) => all + point.disposedBytes, 0),
    disposedItemsTotal: 9 * days,
    failuresTotal: failures + 2,
    runsTotal: days,
    quarantineBytes: Math.round(random() * 6 * GB),
    quarantineItems: 11,
    volumeTotalBytes: total,
    volumeAvailableBytes: available,
    auditSeq: 40 * days + index,
    auditHeadHash: "9f2c".repeat(16),
    topItems,
  };
  latest.host = `${kind}-${String(Math.floor(index / names.length) + 1).padStart(2, "0")}`;
  return {
    host: latest.host,
    status,
    statusReasons: reasons,
    firstSeen: iso(lastSeen - days * DAY),
    lastSeen: iso(lastSeen),
    reports: days + 1,
    latest,
    history,
    ...(index === 2 ? { note: "Moves to the new rack in December." } : {}),
  };
}

// `count` hosts with a history of `days`, sorted by name.
export function makeFleet(count, { now = Date.now(), days = 30, seed = 7 } = {}) {
  const random = randomNumbers(seed);
  return Array.from({ length: count }, (_, index) => makeHost(index, random, now, days)).sort((a, b) =>
    a.host < b.host ? -1 : 1,
  );
}

// The report of a host that attempts XSS.
export function makeHostile(now = Date.now()) {
  const attack = (name) =>
    `<img src=x onerror="window.hacked='${name}'"><script>window.hacked='${name}'</script>"'\`\${hacked}`;
  const host = makeHost(3, randomNumbers(1), now, 5);
  host.host = attack("host") + "</title>/../%2e%2e?#&";
  host.status = "attention";
  host.statusReasons = [attack("reason")];
  host.note = `${attack("note")}\n=1+1`;
  Object.assign(host.latest, {
    host: host.host,
    platform: attack("platform"),
    policyName: attack("policy"),
    tidraVersion: attack("version"),
    catalogVersion: attack("catalogue"),
    runID: attack("run"),
    auditHeadHash: attack("hash"),
    tags: { [attack("tag")]: attack("tagvalue"), __proto__x: "1" },
  });
  host.latest.topItems = [
    {
      path: `javascript:${attack("path")}`,
      label: attack("label"),
      tier: attack("tier"),
      category: attack("category"),
      bytes: "NaN",
    },
    null,
    7,
  ];
  host.latest.skippedByReason = { [attack("skip")]: 3, constructor: 2, __proto__x: 1 };
  host.latest.bytesByCategory = { [attack("bycategory")]: 5e9, toString: 4e9 };
  host.history.push(null, { time: attack("time") });
  return host;
}

const sumOf = (hosts, key) => hosts.reduce((all, host) => all + (host.latest[key] || 0), 0);

function sumMaps(hosts, key) {
  const result = {};
  for (const host of hosts)
    for (const [name, value] of Object.entries(host.latest[key] || {})) result[name] = (result[name] || 0) + value;
  return result;
}

function countBy(hosts, keyOf) {
  const result = {};
  for (const host of hosts) result[keyOf(host)] = (result[keyOf(host)] || 0) + 1;
  return result;
}

function rulesOf(hosts) {
  const rules = new Map();
  for (const host of hosts)
    for (const item of host.latest.topItems.filter((each) => each?.label)) {
      const rule = rules.get(item.label) || { label: item.label, tier: item.tier, category: item.category, bytes: 0, hosts: 0 };
      rules.set(item.label, { ...rule, bytes: rule.bytes + (Number(item.bytes) || 0), hosts: rule.hosts + 1 });
    }
  return [...rules.values()].sort((a, b) => b.bytes - a.bytes).slice(0, 10);
}

function trendOf(hosts, now, days) {
  return Array.from({ length: days }, (_, index) => {
    const day = iso(now - (days - 1 - index) * DAY).slice(0, 10);
    const points = hosts.flatMap((host) => host.history.filter((point) => point && String(point.time).startsWith(day)));
    return {
      day,
      disposedBytes: points.reduce((all, point) => all + (point.disposedBytes || 0), 0),
      freedBytes: points.reduce((all, point) => all + (point.freedBytes ?? point.disposedBytes ?? 0), 0),
      runs: points.length,
      failures: points.reduce((all, point) => all + (point.failures || 0), 0),
    };
  });
}

export function summarise(hosts, title, now = Date.now()) {
  const volumes = hosts.filter((host) => host.latest.volumeTotalBytes > 0);
  const free = (host) => host.latest.volumeAvailableBytes / host.latest.volumeTotalBytes;
  const largest = (key) =>
    [...hosts]
      .sort((a, b) => b.latest[key] - a.latest[key])
      .slice(0, 10)
      .map((host) => ({ host: host.host, bytes: host.latest[key] }));
  const trend = trendOf(hosts, now, 30);
  return {
    generatedAt: iso(now),
    title,
    hosts: hosts.length,
    hostsByStatus: countBy(hosts, (host) => host.status),
    hostsByPlatform: countBy(hosts, (host) => host.latest.platform),
    hostsByPolicy: countBy(hosts, (host) => host.latest.policyName),
    hostsByVersion: countBy(hosts, (host) => host.latest.tidraVersion),
    hostsDryRun: hosts.filter((host) => host.latest.dryRun).length,
    reclaimableBytes: sumOf(hosts, "reclaimableBytes"),
    bytesByTier: sumMaps(hosts, "bytesByTier"),
    bytesByCategory: sumMaps(hosts, "bytesByCategory"),
    plannedBytes: sumOf(hosts, "plannedBytes"),
    disposedBytesTotal: sumOf(hosts, "disposedBytesTotal"),
    disposedItemsTotal: sumOf(hosts, "disposedItemsTotal"),
    disposedBytesLast24h: trend.at(-1)?.disposedBytes ?? 0,
    disposedBytesLast7d: trend.slice(-7).reduce((all, point) => all + point.disposedBytes, 0),
    freedBytesTotal: hosts.reduce((all, { latest }) => all + (latest.freedBytesTotal ?? latest.disposedBytesTotal ?? 0), 0),
    freedBytesLast24h: trend.at(-1)?.freedBytes ?? 0,
    freedBytesLast7d: trend.slice(-7).reduce((all, point) => all + point.freedBytes, 0),
    hostsWithoutFreed: hosts.filter((host) => typeof host.latest.freedBytes !== "number").length,
    runsTotal: sumOf(hosts, "runsTotal"),
    failuresTotal: sumOf(hosts, "failuresTotal"),
    failuresLast24h: trend.at(-1)?.failures ?? 0,
    quarantineBytes: sumOf(hosts, "quarantineBytes"),
    volumeTotalBytes: sumOf(volumes, "volumeTotalBytes"),
    volumeAvailableBytes: sumOf(volumes, "volumeAvailableBytes"),
    hostsLowDisk: volumes.filter((host) => free(host) < 0.1).length,
    topReclaimable: largest("reclaimableBytes"),
    topFreed: largest("disposedBytesTotal"),
    lowestDisk: [...volumes]
      .sort((a, b) => free(a) - free(b))
      .slice(0, 10)
      .map((host) => ({
        host: host.host,
        availableBytes: host.latest.volumeAvailableBytes,
        totalBytes: host.latest.volumeTotalBytes,
        freeFraction: free(host),
      })),
    topRules: rulesOf(hosts),
    recentRuns: [...hosts]
      .sort((a, b) => (a.lastSeen < b.lastSeen ? 1 : -1))
      .slice(0, 12)
      .map((host) => ({
        host: host.host,
        startedAt: host.latest.startedAt,
        disposedBytes: host.latest.disposedBytes,
        disposedItems: host.latest.disposedItems,
        failures: host.latest.failures,
        succeeded: host.latest.succeeded,
        dryRun: host.latest.dryRun,
        reclaimableBytes: host.latest.reclaimableBytes,
        freedBytes: host.latest.freedBytes,
      })),
    trend,
    staleAfterSeconds: 93600,
  };
}

export function makeEvents(hosts, now = Date.now()) {
  const events = hosts.slice(0, 60).map((host) => ({
    time: host.lastSeen,
    kind: "reportReceived",
    host: host.host,
    bytes: host.latest.disposedBytes,
    message: host.latest.dryRun
      ? `dry run · ${host.latest.findings} findings`
      : `${host.latest.disposedItems} removed${host.latest.failures ? ` · ${host.latest.failures} failed` : ""}`,
  }));
  events.push(
    { time: iso(now - 5 * DAY), kind: "hubStarted", message: "hub started" },
    { time: iso(now - 7200000), kind: "policyUpdated", message: "policy 'developer' updated" },
    { time: iso(now - DAY * 1.2), kind: "auditWentBackwards", host: hosts[0]?.host, message: "audit log went backwards" },
  );
  return events.sort((a, b) => (a.time < b.time ? -1 : 1));
}
