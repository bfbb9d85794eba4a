// A mock of the hub's API with generated data, on a free loopback port. Stores writes, so that tests can check them.

import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { makeEvents, summarise } from "./fleet.mjs";

const root = fileURLToPath(new URL("../..", import.meta.url));
const policyOfContent =
  "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data:; connect-src 'self'";
const escapes = { "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;" };

// The page as embedded in the program.
export function joinPage() {
  const folder = mkdtempSync(join(tmpdir(), "tidra-page-"));
  try {
    const output = join(folder, "dashboard.html");
    execFileSync("cmake", [
      `-DINPUT=${root}fleet/hub/dashboard/dashboard.html`,
      `-DOUTPUT=${output}`,
      "-P",
      `${root}cmake/join_page.cmake`,
    ]);
    return readFileSync(output, "utf8");
  } finally {
    rmSync(folder, { recursive: true });
  }
}

class Refusal extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

function pagedHosts(hub, query) {
  if (hub.ignoresParts) return { body: { hosts: hub.hosts }, headers: {} };
  const matching = hub.hosts.filter(
    (host) =>
      (!query.get("status") || host.status === query.get("status")) &&
      (!query.get("platform") || host.latest.platform === query.get("platform")) &&
      host.host.includes(query.get("q") || ""),
  );
  const offset = Number(query.get("offset") || 0);
  const hosts = matching
    .slice(offset, offset + Math.min(hub.mostRows, Number(query.get("limit") || matching.length)))
    .map(({ history, ...row }) => (query.get("history") === "0" ? row : { ...row, history }));
  return { body: { hosts }, headers: { "X-Total-Count": String(matching.length) } };
}

function answerHost(hub, method, name, part, body) {
  const host = hub.hosts.find((each) => each.host === name);
  if (!host) throw new Refusal(404, "unknown host");
  if (method === "GET") return { body: host };
  if (method === "DELETE") hub.hosts.splice(hub.hosts.indexOf(host), 1);
  if (method === "PUT" && part === "note") host.note = body.trim() || undefined;
  return { body: { ok: true } };
}

function answerPolicy(hub, method, name, body) {
  if (method === "PUT") {
    if (/[^A-Za-z0-9\-_.]/.test(name))
      throw new Refusal(400, `'${name}' is not a valid policy name (letters, digits, - _ . only)`);
    if (JSON.parse(body).autoClean?.minIdleDays < 0)
      throw new Refusal(400, "invalid policy: Invalid policy: autoClean.minIdleDays must not be negative.");
    hub.policies[name] = body;
    return { body: { ok: true, name } };
  }
  if (!Object.hasOwn(hub.policies, name)) throw new Refusal(404, `no policy '${name}'`);
  if (method === "GET") return { text: hub.policies[name] };
  delete hub.policies[name];
  return { body: { ok: true, name } };
}

function answer(hub, method, url, request, body) {
  const [api, version, kind, ...rest] = url.pathname.split("/").filter(Boolean).map(decodeURIComponent);
  if (api !== "api" || version !== "v1") throw new Refusal(404, "not found");
  if (kind === "info")
    return {
      body: { name: "tidra-hub", version: "1.3.0", schema: "1", title: hub.title, authRequired: String(Boolean(hub.token)) },
    };
  if (hub.token && request.headers.authorization !== `Bearer ${hub.token}`) throw new Refusal(401, "admin token required");
  if (method !== "GET" && !String(request.headers["content-type"]).startsWith("application/json"))
    throw new Refusal(415, "a JSON content type is required");
  if (kind === "summary") return { body: summarise(hub.hosts, hub.title) };
  if (kind === "events")
    return { body: { events: (hub.events ?? makeEvents(hub.hosts)).slice(-Number(url.searchParams.get("n") || 100)) } };
  if (kind === "hosts" && rest.length === 0) return pagedHosts(hub, url.searchParams);
  if (kind === "hosts") return answerHost(hub, method, rest[0], rest[1], body);
  if (kind === "policies" && rest.length === 0) return { body: { policies: Object.keys(hub.policies) } };
  if (kind === "policies") return answerPolicy(hub, method, rest[0], body);
  throw new Refusal(404, "not found");
}

async function readBody(request) {
  const parts = [];
  for await (const part of request) parts.push(part);
  return Buffer.concat(parts).toString("utf8");
}

// Starts a hub. `options` are its fields: hosts, policies, events, title, token, ignoresParts (no paging), mostRows
// (maximum of a response) and failing (a status for every response). They may be changed while it runs; `requests`
// lists the requests received.
export async function startHub(page, options = {}) {
  const hub = {
    hosts: [],
    policies: {},
    title: "Fleet",
    token: "",
    ignoresParts: false,
    mostRows: Infinity,
    failing: 0,
    requests: [],
    ...options,
  };
  const html = () =>
    page
      .replaceAll(
        "__HUB_TITLE__",
        hub.title.replace(/[&<>"]/g, (each) => escapes[each]),
      )
      .replaceAll("__TIDRA_VERSION__", "1.3.0");
  const server = createServer(async (request, response) => {
    const url = new URL(request.url, "http://hub");
    if (url.pathname === "/")
      return response
        .writeHead(200, { "Content-Type": "text/html; charset=utf-8", "Content-Security-Policy": policyOfContent })
        .end(html());
    const body = await readBody(request);
    hub.requests.push(`${request.method} ${request.url}`);
    try {
      if (hub.failing) throw new Refusal(hub.failing, "the disk is full");
      const { body: value, text, headers } = answer(hub, request.method, url, request, body);
      response
        .writeHead(200, { "Content-Type": "application/json; charset=utf-8", ...headers })
        .end(text ?? JSON.stringify(value));
    } catch (error) {
      response
        .writeHead(error.status || 500, { "Content-Type": "application/json; charset=utf-8" })
        .end(JSON.stringify({ error: error.message, status: String(error.status || 500) }));
    }
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  hub.url = `http://127.0.0.1:${server.address().port}`;
  hub.close = () =>
    new Promise((resolve) => {
      server.close(resolve);
      server.closeAllConnections();
    });
  return hub;
}

export const examplePolicies = () => ({
  "agent-host": readFileSync(`${root}fleet/agent/policy/examples/agent-host.json`, "utf8"),
  developer: readFileSync(`${root}fleet/agent/policy/examples/developer.json`, "utf8"),
});
