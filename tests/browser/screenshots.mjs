// Makes the images of docs/images: tests/browser/run screenshots

import { mkdirSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { launch, loadPlaywright } from "./browser.mjs";
import { makeFleet } from "./fleet.mjs";
import { examplePolicies, joinPage, startHub } from "./mock_hub.mjs";

const folder = process.env.TIDRA_IMAGES || fileURLToPath(new URL("../../docs/images", import.meta.url));
const wide = { width: 1360, height: 900 };
const pictures = [
  ["dashboard-overview", "#/", wide, "light"],
  ["dashboard-overview-dark", "#/", wide, "dark"],
  ["dashboard-hosts", "#/hosts?sort=reclaimable&dir=desc", wide, "light"],
  ["dashboard-host", "#/host/ci-runner-03", wide, "light"],
  ["dashboard-policies", "#/policies/developer", wide, "light"],
  ["dashboard-activity", "#/activity", wide, "light"],
  ["dashboard-phone", "#/", { width: 390, height: 844 }, "light"],
  ["dashboard-phone-hosts", "#/hosts", { width: 390, height: 844 }, "dark"],
];

mkdirSync(folder, { recursive: true });
const hub = await startHub(joinPage(), { hosts: makeFleet(96), policies: examplePolicies(), title: "Build fleet" });
const browser = await launch(await loadPlaywright());
for (const [name, fragment, viewport, colorScheme] of pictures) {
  const page = await browser.newPage({ viewport, colorScheme, locale: "en-GB" });
  page.on("console", (message) => console.log(name, message.text()));
  page.on("pageerror", (error) => console.log(name, error.message));
  await page.goto(`${hub.url}/${fragment}`);
  await page.waitForSelector(".panel");
  await page.waitForTimeout(150);
  await page.screenshot({ path: `${folder}/${name}.png`, fullPage: viewport === wide && !/hosts|activity/.test(name) });
  await page.close();
}
await browser.close();
await hub.close();
