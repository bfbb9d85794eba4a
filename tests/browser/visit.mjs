// A visit of the dashboard: a hub, a fresh browser profile, and the browser's errors.

import assert from "node:assert/strict";
import { launch } from "./browser.mjs";
import { makeFleet } from "./fleet.mjs";
import { examplePolicies, joinPage, startHub } from "./mock_hub.mjs";

let browser;
let html;

export async function openBrowser(playwright) {
  html = joinPage();
  browser = await launch(playwright);
}

export const closeBrowser = () => browser?.close();

// Opens the page at `fragment`, runs `steps(page, hub)` and fails on any error in the browser: script errors, CSP
// violations. `expected` matches errors that belong to the test; `start` starts another hub than the mock.
export async function visit(fragment, { start = startHub, ...hubOptions }, steps, { context = {}, expected = /^$/, wait = ".panel" } = {}) {
  const hub = await start(html, { hosts: makeFleet(40), policies: examplePolicies(), ...hubOptions });
  const profile = await browser.newContext({ locale: "en-GB", ...context });
  const page = await profile.newPage();
  page.setDefaultTimeout(8000);
  const complaints = [];
  page.on("pageerror", (error) => complaints.push(error.message));
  page.on("console", (message) => message.type() === "error" && complaints.push(message.text()));
  page.on(
    "request",
    (request) =>
      !request.url().startsWith(hub.url) &&
      !/^(data|blob):/.test(request.url()) &&
      complaints.push(`request to ${request.url()}`),
  );
  try {
    await page.goto(`${hub.url}/${fragment}`);
    if (wait) await page.waitForSelector(wait);
    await steps(page, hub);
    assert.deepEqual(
      complaints.filter((text) => !expected.test(text)),
      [],
    );
  } finally {
    await profile.close();
    await hub.close();
  }
}

export const fragmentOf = (page) => new URL(page.url()).hash;
export const main = (page) => page.locator("main").innerText();
export const shows = async (page, ...texts) => {
  const text = await main(page);
  for (const each of texts) assert.ok(text.includes(each), `"${each}" is not in: ${text}`);
};
export const rows = (page) => page.locator("main tbody tr");
export const hostNames = (page) => page.locator("main tbody a.name").allInnerTexts();

// Runs in the page: texts with a contrast below 4.5 (3 for large text), and the lightness of the background.
export function measureContrast() {
  const numbers = (colour) => colour.match(/[\d.]+/g).map(Number);
  const luminance = ([r, g, b]) =>
    [r, g, b]
      .map((part) => (part / 255 <= 0.04045 ? part / 255 / 12.92 : ((part / 255 + 0.055) / 1.055) ** 2.4))
      .reduce((sum, part, index) => sum + part * [0.2126, 0.7152, 0.0722][index], 0);
  const groundOf = (node) => {
    for (let each = node; each; each = each.parentElement) {
      const colour = numbers(getComputedStyle(each).backgroundColor);
      if (colour.length === 3 || colour[3] === 1) return colour;
    }
    return [255, 255, 255];
  };
  const poor = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const node = walker.currentNode.parentElement;
    if (
      !walker.currentNode.data.trim() ||
      !node.checkVisibility() ||
      node.closest("script, style, .unseen, option, .tooltip, .skip, :disabled")
    )
      continue;
    const style = getComputedStyle(node);
    const [a, b] = [luminance(numbers(node.closest("svg") ? style.fill : style.color)), luminance(groundOf(node))].sort(
      (x, y) => y - x,
    );
    const needed = parseFloat(style.fontSize) >= 24 ? 3 : 4.5;
    if ((a + 0.05) / (b + 0.05) < needed)
      poor.push(`${node.textContent.slice(0, 30)}: ${((a + 0.05) / (b + 0.05)).toFixed(2)}`);
  }
  return { poor, ground: luminance(groundOf(document.body)) };
}
