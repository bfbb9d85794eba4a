// The page with the real hub.

import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { loadPlaywright, whatIsMissing } from "./browser.mjs";
import { makeFleet, makeHostile } from "./fleet.mjs";
import { programIsMissing, startRealHub } from "./real_hub.mjs";
import { closeBrowser, hostNames, openBrowser, rows, shows, visit } from "./visit.mjs";

const playwright = await loadPlaywright();

describe("dashboard of the real hub", { skip: whatIsMissing(playwright) || programIsMissing }, () => {
  before(() => openBrowser(playwright));
  after(closeBrowser);

  const visitReal = (fragment, options, steps, circumstances) =>
    visit(fragment, { start: startRealHub, ...options }, steps, circumstances);

  test("every view shows what was reported", () =>
    visitReal("", { title: `A & "B" <i>` }, async (page, hub) => {
      assert.match(await page.title(), /A & "B" <i>$/);
      await shows(page, "Hosts reporting", "40 of 40", "Largest findings across the fleet", "Recent runs");
      await page.goto(`${hub.url}/#/hosts`);
      await page.getByRole("heading", { name: "40 hosts" }).waitFor();
      const wanted = hub.hosts.filter((host) => host.latest.platform === "macos").map((host) => host.host);
      await page.getByRole("combobox", { name: "Platform" }).selectOption("macos");
      assert.deepEqual((await hostNames(page)).sort(), wanted.sort());
      const { latest } = hub.hosts.find((host) => host.host === "ci-runner-03");
      await page.goto(`${hub.url}/#/host/ci-runner-03`);
      await page.getByRole("heading", { name: "Largest findings" }).waitFor();
      await shows(page, "Reclaimable now", "Freed by Tidra", "Disk free", latest.topItems[0].path, latest.auditHeadHash);
      await page.goto(`${hub.url}/#/activity`);
      await page.waitForSelector(".events li");
      await shows(page, "policy 'developer' updated", "ci-runner-03");
    }));

  test("more hosts than one part holds", () =>
    visitReal("#/hosts", { hosts: makeFleet(600, { days: 1 }) }, async (page) => {
      await page.getByRole("heading", { name: "600 hosts" }).waitFor();
      await page.getByLabel("Text").fill("web-7");
      assert.ok((await hostNames(page)).every((name) => name.includes("web-7")));
      assert.ok((await rows(page).count()) > 0);
    }));

  test("a locked hub opens with its token, and keeps what is written", () =>
    visitReal(
      "#/host/web-01",
      { token: "s3cret" },
      async (page, hub) => {
        const dialog = page.getByRole("dialog");
        await dialog.getByLabel("Token").fill("wrong");
        await dialog.getByRole("button", { name: "Save" }).click();
        await page.getByText("did not accept the saved token").waitFor();
        await dialog.getByLabel("Token").fill("s3cret");
        await page.keyboard.press("Enter");
        await page.getByRole("button", { name: /(Add|Edit) note/ }).click();
        await dialog.getByLabel("Note").fill("  rack 7 <b>\nspare ");
        await dialog.getByRole("button", { name: "Save note" }).click();
        await page.locator(".note", { hasText: "rack 7 <b>" }).waitFor();
        assert.equal(JSON.parse(await hub.ask("GET", "hosts/web-01")).note, "rack 7 <b>\nspare");
        await page.getByRole("button", { name: "Remove host" }).click();
        await dialog.getByRole("button", { name: "Remove host" }).click();
        await page.getByRole("heading", { name: "39 hosts" }).waitFor();
        assert.equal(JSON.parse(await hub.ask("GET", "hosts?history=0")).hosts.length, 39);
      },
      { expected: /401|404/, wait: "dialog" },
    ));

  test("a policy is refused in place, saved as it was typed, and removed", () =>
    visitReal(
      "#/policies/developer",
      {},
      async (page, hub) => {
        await page.getByRole("button", { name: "Edit" }).click();
        const editor = page.getByLabel("Policy (JSON)");
        const save = () => page.getByRole("button", { name: "Save policy" }).click();
        await editor.fill('{\n  "name": "developer",\n  "autoClean": { \n    "minIdleDays": -1 }\n}');
        await save();
        await page.getByText("invalid policy: Invalid policy: autoClean.minIdleDays must be >= 0.").waitFor();
        const selected = await editor.evaluate((area) => area.value.slice(area.selectionStart, area.selectionEnd));
        assert.match(selected, /^"minIdleDays": -1/);
        const text = ' {"name":"developer",\n"autoClean":{"minIdleDays":9}}\n';
        await editor.fill(text);
        await save();
        await page.getByText("idle for 9 days").waitFor();
        assert.equal(await hub.ask("GET", "policies/developer"), text);
        await page.getByRole("button", { name: "Remove" }).click();
        await page.getByRole("dialog").getByRole("button", { name: "Remove policy" }).click();
        await page.getByText("Choose a policy").waitFor();
        assert.deepEqual(JSON.parse(await hub.ask("GET", "policies")).policies, ["agent-host"]);
      },
      { expected: /400/ },
    ));

  test("a hostile host is shown as text and can be removed", () => {
    const hostile = makeHostile();
    // The hub rejects these by itself.
    Object.assign(hostile.latest, { platform: "linux" });
    Object.assign(hostile.latest.topItems[0], { tier: "safe", bytes: 7 });
    hostile.latest.topItems.length = 1;
    return visitReal(
      "",
      { hosts: [...makeFleet(3), hostile], title: "</title><script>window.hacked=1</script>" },
      async (page, hub) => {
        for (const fragment of ["#/hosts", "#/activity", "#/"]) {
          await page.goto(`${hub.url}/${fragment}`);
          await page.waitForSelector(".panel");
        }
        await page.goto(`${hub.url}/#/host/${encodeURIComponent(hostile.host)}`);
        await page.getByRole("button", { name: "Remove host" }).click();
        assert.equal(await page.evaluate(() => Object.keys(window).includes("hacked")), false);
        await page.getByRole("dialog").getByRole("button", { name: "Remove host" }).click();
        await page.getByRole("heading", { name: "3 hosts" }).waitFor();
      },
      { expected: /404/ },
    );
  });
});
