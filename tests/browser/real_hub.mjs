// The real hub on a free loopback port, with the reports of a generated fleet.

import { spawn } from "node:child_process";
import { existsSync, mkdtempSync, rmSync } from "node:fs";
import { once } from "node:events";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";

export const program = process.env.TIDRA_PROGRAM || fileURLToPath(new URL("../../build/tidra", import.meta.url));
export const programIsMissing = existsSync(program) ? false : `${program} is missing; TIDRA_PROGRAM names another one`;

// `options` (hosts, policies, title, token) are those of the mock hub. `ask` sends one request as an administrator.
export async function startRealHub(page, { hosts, policies, title = "Fleet", token = "" }) {
  const folder = mkdtempSync(join(tmpdir(), "tidra-hub-"));
  const hub = spawn(program, ["hub", "serve", "--data", folder, "--listen", "127.0.0.1:0", "--title", title], {
    env: { ...process.env, TIDRA_HUB_ADMIN_TOKEN: token },
    stdio: ["ignore", "pipe", "inherit"],
  });
  const ended = once(hub, "exit");
  const close = async () => {
    hub.kill("SIGTERM");
    const [status] = await ended;
    rmSync(folder, { recursive: true });
    if (status !== 0) throw new Error(`the hub ended with status ${status}`);
  };
  let url;
  for await (const line of createInterface({ input: hub.stdout })) {
    url = /^dashboard on (http:.*)\/$/.exec(line)?.[1];
    if (url) break;
  }
  hub.stdout.resume(); // a full pipe would block the hub
  const ask = async (method, path, body) => {
    const headers = { "Content-Type": "application/json", ...(token && { Authorization: `Bearer ${token}` }) };
    const response = await fetch(`${url}/api/v1/${path}`, { method, body, headers });
    const text = await response.text();
    if (!response.ok) throw new Error(`${method} ${path}: ${response.status} ${text}`);
    return text;
  };
  try {
    for (const host of hosts) await ask("POST", "report", JSON.stringify(host.latest));
    for (const [name, text] of Object.entries(policies)) await ask("PUT", `policies/${name}`, text);
  } catch (error) {
    await close();
    throw error;
  }
  return { url, hosts, ask, close };
}
