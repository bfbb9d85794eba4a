// The dashboard's views, actions and exports.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, describe, test } from "node:test";
import { loadPlaywright, whatIsMissing } from "./browser.mjs";
import { makeFleet } from "./fleet.mjs";
import { closeBrowser, fragmentOf, hostNames, openBrowser, rows, shows, visit } from "./visit.mjs";

const playwright = await loadPlaywright();

describe("dashboard", { skip: whatIsMissing(playwright) }, () => {
  before(() => openBrowser(playwright));
  after(closeBrowser);

  async function download(page) {
    const [file] = await Promise.all([page.waitForEvent("download"), page.getByRole("button", { name: "Export CSV" }).click()]);
    return readFileSync(await file.path(), "utf8");
  }

  test("overview shows the fleet's figures and leads to the hosts behind them", () =>
    visit("", { title: `A & "B" <i>` }, async (page, hub) => {
      await shows(
        page,
        "Hosts reporting",
        "Reclaimable now",
        "Freed in the last 24 h",
        "Disk pressure",
        "Held in quarantine",
        "Freed per day",
        "Reclaimable by category",
        "Hosts with the most to reclaim",
        "Largest findings across the fleet",
        "Needs attention",
        "Recent runs",
      );
      assert.match(await page.title(), /A & "B" <i>$/);
      const stale = hub.hosts.filter((host) => host.status === "stale");
      await page.getByRole("button", { name: "Admin token" }).waitFor({ state: "hidden" }); // this hub requires none
      await shows(page, `${40 - stale.length} of 40`, stale[0].statusReasons[0]);
      await page
        .getByRole("link", { name: /^Stale/ })
        .first()
        .click();
      await page.waitForSelector("tbody");
      assert.deepEqual((await hostNames(page)).sort(), stale.map((host) => host.host).sort());
    }));

  test("a chart announces its points to keyboard and pointer", () =>
    visit("", {}, async (page) => {
      const chart = page.getByRole("img", { name: /Freed per day/ });
      await chart.focus();
      await page.keyboard.press("Home");
      const first = await page.locator("#announcer").innerText();
      assert.match(first, /freed, \d+ runs/);
      await page.keyboard.press("ArrowRight");
      assert.notEqual(await page.locator("#announcer").innerText(), first);
      assert.ok((await page.locator("#tooltip").innerText()).includes("freed"));
      await page.keyboard.press("Escape");
      await chart.locator("svg").hover();
      assert.ok(await page.locator("#tooltip").isVisible());
    }));

  test("hosts are filtered, and the address keeps the filters", () =>
    visit("#/hosts", {}, async (page, hub) => {
      await page.getByLabel("Text").fill("oslo BUILD");
      const named = hub.hosts.filter((host) => host.latest.tags.site && host.host.includes("build"));
      assert.equal(await rows(page).count(), named.length);
      await page.getByLabel("Text").fill("");
      await page.getByRole("combobox", { name: "Platform" }).selectOption("macos");
      await page.getByRole("combobox", { name: "Status" }).selectOption("attention");
      const wanted = hub.hosts
        .filter((host) => host.latest.platform === "macos" && host.status === "attention")
        .map((host) => host.host);
      assert.ok(wanted.length > 0);
      assert.deepEqual(await hostNames(page), wanted);
      assert.deepEqual(Object.fromEntries(new URLSearchParams(fragmentOf(page).split("?")[1])), {
        platform: "macos",
        status: "attention",
      });
      await page.reload();
      await page.waitForSelector("tbody");
      assert.deepEqual(await hostNames(page), wanted);
      assert.equal(await page.getByRole("combobox", { name: "Platform" }).inputValue(), "macos");
      await page.getByLabel("Text").fill("nothing like it");
      await page.getByRole("button", { name: "Clear filters" }).click();
      assert.equal(await rows(page).count(), 40);
    }));

  test("hosts are sorted, those without a figure last, and a row opens its host", () => {
    const hosts = makeFleet(12);
    delete hosts[4].latest.volumeTotalBytes;
    return visit("#/hosts", { hosts }, async (page) => {
      const free = (host) => host.latest.volumeAvailableBytes / host.latest.volumeTotalBytes;
      const known = hosts
        .filter((host) => host !== hosts[4])
        .sort((a, b) => free(a) - free(b))
        .map((host) => host.host);
      const header = page.getByRole("columnheader", { name: "Disk free" });
      await header.getByRole("button").click();
      assert.equal(await header.getAttribute("aria-sort"), "descending");
      assert.deepEqual(await hostNames(page), [...known].reverse().concat(hosts[4].host));
      await page.keyboard.press("Enter"); // the header keeps the focus
      assert.deepEqual(await hostNames(page), [...known, hosts[4].host]);
      await rows(page).nth(2).locator("td").nth(3).click();
      await page.getByRole("heading", { level: 1, name: known[2] }).waitFor();
      assert.equal(fragmentOf(page), `#/host/${known[2]}`);
      await page.goBack();
      await page.waitForSelector("tbody");
      assert.equal((await hostNames(page))[0], known[0]);
    });
  });

  for (const ignoresParts of [false, true]) {
    test(`10,000 hosts from a hub that ${ignoresParts ? "sends the whole list" : "sends parts"}`, () =>
      visit("#/hosts", { hosts: makeFleet(10000, { days: 1 }), ignoresParts, mostRows: 400 }, async (page, hub) => {
        await page.getByRole("heading", { name: "10,000 hosts" }).waitFor({ timeout: 30000 });
        assert.equal(await rows(page).count(), 50);
        const requests = hub.requests.filter((each) => each.includes("/hosts"));
        assert.equal(requests.length, ignoresParts ? 1 : 25);
        await page.getByRole("button", { name: "Next" }).click();
        await shows(page, "51–100 of 10,000");
        assert.match(fragmentOf(page), /page=2/);
        await page.getByLabel("Text").fill("web-1250");
        assert.deepEqual(await hostNames(page), ["web-1250"]);
        await page.getByRole("link", { name: "Overview" }).click();
        await page.getByText("Needs attention").first().waitFor();
        const unhealthy = hub.hosts.filter((host) => host.status !== "healthy").length;
        await shows(page, `All ${unhealthy.toLocaleString("en-GB")}`);
      }));
  }

  test("a host shows its run, history, findings and facts", () =>
    visit("#/host/ci-runner-03", {}, async (page, hub) => {
      const { latest } = hub.hosts.find((host) => host.host === "ci-runner-03");
      await shows(
        page,
        "Reclaimable now",
        "Freed by Tidra",
        "Last run",
        "Disk free",
        "Quarantine",
        "Reclaimable over time",
        "Freed per run",
        "Largest findings",
        "Why items were skipped",
        "Facts",
        "Used too recently",
        latest.topItems[0].path,
        latest.auditHeadHash,
        latest.runID,
        "team=",
      );
      assert.equal(await page.locator(".chart svg").count(), 2);
      assert.match(await page.locator("main time").first().getAttribute("title"), /\d{4}/);
    }));

  test("a note is written and cleared, and a host is removed only when confirmed", () =>
    visit(
      "#/host/web-01",
      {},
      async (page, hub) => {
        const host = hub.hosts.find((each) => each.host === "web-01");
        await page.getByRole("button", { name: "Edit note" }).click();
        const dialog = page.getByRole("dialog");
        await dialog.getByLabel("Note").fill("  rack 7 <b>\nspare ");
        await dialog.getByRole("button", { name: "Save note" }).click();
        await page.locator(".note", { hasText: "rack 7 <b>" }).waitFor();
        assert.equal(host.note, "rack 7 <b>\nspare");
        await page.getByRole("button", { name: "Edit note" }).click();
        await dialog.getByLabel("Note").fill("");
        await dialog.getByRole("button", { name: "Save note" }).click();
        await page.getByRole("button", { name: "Add note" }).waitFor();
        assert.equal(host.note, undefined);
        await page.getByRole("button", { name: "Remove host" }).click();
        await page.keyboard.press("Escape");
        assert.equal(await dialog.count(), 0);
        assert.ok(hub.hosts.includes(host));
        await page.getByRole("button", { name: "Remove host" }).click();
        await dialog.getByRole("button", { name: "Remove host" }).click();
        await page.getByRole("heading", { name: "39 hosts" }).waitFor();
        assert.ok(!hub.hosts.includes(host));
        await page.goto(`${hub.url}/#/host/web-01`);
        await page.getByText("not in the inventory").waitFor();
      },
      { expected: /404/ },
    ));

  test("a policy is edited with its faults in place", () =>
    visit(
      "#/policies",
      {},
      async (page, hub) => {
        await page.getByRole("link", { name: "developer" }).click();
        await page.getByRole("button", { name: "Edit" }).click();
        const editor = page.getByLabel("Policy (JSON)");
        const selected = () => editor.evaluate((area) => area.value.slice(area.selectionStart, area.selectionEnd));
        const save = () => page.getByRole("button", { name: "Save policy" }).click();
        const before = hub.policies.developer;
        await editor.fill('{\n  "name": "developer",\n  "dryRun": maybe\n}');
        await save();
        await page.getByText("Line 3 is not valid JSON: a value is expected").waitFor();
        assert.equal(await selected(), "maybe");
        assert.equal(await editor.getAttribute("aria-invalid"), "true");
        await editor.fill('{\n  "name": "developer",\n  "autoClean": { \n    "minIdleDays": -1 }\n}');
        await save();
        await page.getByText("invalid policy: Invalid policy: autoClean.minIdleDays must not be negative.").waitFor();
        assert.match(await selected(), /^"minIdleDays": -1/);
        assert.equal(hub.policies.developer, before);
        await page.getByRole("link", { name: "Activity" }).click();
        await page.getByRole("heading", { level: 1, name: "Activity" }).waitFor();
        await page.goto(`${hub.url}/#/policies/developer`);
        assert.match(await editor.inputValue(), /-1/); // the draft is kept
        await editor.fill('{"name":"developer","autoClean":{"minIdleDays":9}}');
        hub.policies.developer = "{}";
        await save();
        await page.getByText("Someone else has changed this policy").waitFor();
        assert.equal(hub.policies.developer, "{}");
        await save();
        await page.getByText("idle for 9 days").waitFor();
        assert.equal(JSON.parse(hub.policies.developer).autoClean.minIdleDays, 9);
      },
      { expected: /400/ },
    ));

  test("a policy is made and removed", () =>
    visit("#/policies", {}, async (page, hub) => {
      await page.getByRole("link", { name: "New policy" }).click();
      for (const [name, fault] of [
        ["web servers", "'web servers' is not a valid policy name (letters, digits, - _ . only)"],
        ["..", "would name a folder"],
        ["developer", "There is a policy named 'developer' already"],
      ]) {
        await page.getByLabel("Name", { exact: true }).fill(name);
        await page.getByRole("button", { name: "Save policy" }).click();
        await page.getByText(fault).waitFor();
      }
      await page.getByLabel("Name", { exact: true }).fill("web-servers");
      await page.getByRole("button", { name: "Save policy" }).click();
      await page.getByRole("button", { name: "Remove" }).click();
      assert.equal(fragmentOf(page), "#/policies/web-servers");
      assert.equal(JSON.parse(hub.policies["web-servers"]).dryRun, true);
      await page.getByRole("dialog").getByRole("button", { name: "Cancel" }).click();
      assert.ok(hub.policies["web-servers"]);
      await page.getByRole("button", { name: "Remove" }).click();
      await page.getByRole("dialog").getByRole("button", { name: "Remove policy" }).click();
      await page.getByText("Choose a policy").waitFor();
      assert.deepEqual(Object.keys(hub.policies), ["agent-host", "developer"]);
    }));

  test("activity is listed newest first, filtered and exported", () =>
    visit("#/activity", {}, async (page, hub) => {
      await shows(page, "Audit went backwards", "policy 'developer' updated", "hub started");
      const times = await page
        .locator(".events time")
        .evaluateAll((nodes) => nodes.map((node) => node.getAttribute("datetime")));
      assert.deepEqual(times, [...times].sort().reverse());
      await page.getByRole("combobox", { name: "Kind" }).selectOption("policyUpdated");
      assert.equal(await page.locator(".events li").count(), 1);
      assert.match(
        await download(page),
        /^\ufefftime,kind,host,message,bytes\r\n[^\r]*,policyUpdated,,policy 'developer' updated,\r\n$/,
      );
      assert.ok(hub.requests.includes("GET /api/v1/events?n=200"));
    }));

  test("exported cells are never formulas", () => {
    const hosts = makeFleet(3);
    hosts.forEach((host, index) => {
      host.note = ['=HYPERLINK("http://x")', " +1, 2", "＠SUM(A1)"][index];
    });
    hosts[0].latest.tags = { "-1+cmd|' /C calc'!A0": "x" };
    return visit("#/hosts", { hosts }, async (page) => {
      const text = await download(page);
      assert.equal(text.split("\r\n").length, 5);
      for (const cell of [`"'=HYPERLINK(""http://x"")"`, `"' +1, 2"`, "'＠SUM(A1)", "'-1+cmd|' /C calc'!A0=x"])
        assert.ok(text.includes(cell), `${cell} in ${text}`);
    });
  });
});
