// Launches the browser of these tests.

import { existsSync } from "node:fs";

export const chromiumPath = [
  process.env.TIDRA_CHROMIUM,
  "/usr/bin/chromium",
  "/usr/bin/chromium-browser",
  "/usr/bin/google-chrome",
].find((path) => path && existsSync(path));

// Playwright's module, or null when not installed.
export async function loadPlaywright() {
  try {
    return await import(process.env.TIDRA_PLAYWRIGHT || "playwright-core");
  } catch {
    return null;
  }
}

export async function launch(playwright) {
  const flags = [
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
  ];
  // As root, Chromium starts only without its sandbox.
  if (process.getuid?.() === 0) flags.push("--no-sandbox");
  const { chromium } = playwright.default ?? playwright;
  return chromium.launch({ executablePath: chromiumPath, headless: true, args: flags });
}

// The reason why these tests cannot run, or false.
export function whatIsMissing(playwright) {
  if (!chromiumPath) return "Chromium is missing";
  return playwright ? false : "playwright-core is missing; tests/browser/run installs it";
}
