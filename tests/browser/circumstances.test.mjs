// The dashboard in special situations: locked, attacked, empty, failing, other locales, colours and sizes.

import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { loadPlaywright, whatIsMissing } from "./browser.mjs";
import { makeFleet, makeHostile } from "./fleet.mjs";
import { closeBrowser, hostNames, main, measureContrast, openBrowser, rows, shows, visit } from "./visit.mjs";

const playwright = await loadPlaywright();

describe("dashboard under circumstances", { skip: whatIsMissing(playwright) }, () => {
  before(() => openBrowser(playwright));
  after(closeBrowser);

  test("a locked hub asks for the token until it is right", () =>
    visit(
      "#/hosts",
      { token: "s3cret" },
      async (page, hub) => {
        const dialog = page.getByRole("dialog", { name: "Admin token" });
        await dialog.getByLabel("Token").fill("wrong");
        await dialog.getByRole("button", { name: "Save" }).click();
        await page.getByText("did not accept the saved token").waitFor();
        await page.keyboard.press("Escape");
        await page.getByText("This hub is locked").waitFor();
        assert.equal(await rows(page).count(), 0);
        await page.getByRole("button", { name: "Enter the admin token" }).click();
        await dialog.getByLabel("Token").fill(" s3cret ");
        await page.keyboard.press("Enter");
        await page.waitForSelector("tbody");
        assert.equal(await page.evaluate(() => localStorage.getItem("tidraHubToken")), "s3cret");
        assert.ok(!hub.requests.some((each) => each.includes("s3cret")));
        await page.reload();
        await page.waitForSelector("tbody");
        await page.getByRole("button", { name: "Admin token" }).click();
        await dialog.getByRole("button", { name: "Forget token" }).click();
        await page.getByText("This hub is locked").waitFor();
        assert.equal(await page.evaluate(() => localStorage.getItem("tidraHubToken")), null);
      },
      { expected: /401/, wait: "dialog" },
    ));

  test("nothing that a host sends is markup", async () => {
    const hostile = makeHostile();
    const hosts = [hostile, ...makeFleet(3)];
    const events = [
      {
        time: "<script>window.hacked=1</script>",
        kind: "<img src=x onerror=window.hacked=1>",
        host: hostile.host,
        message: "<b>bold</b>",
      },
      null,
    ];
    await visit("", { hosts, events, title: "</title><script>window.hacked=1</script>" }, async (page, hub) => {
      for (const fragment of ["#/", "#/hosts", `#/host/${encodeURIComponent(hostile.host)}`, "#/activity"]) {
        await page.goto("about:blank");
        await page.goto(`${hub.url}/${fragment}`);
        await page.waitForSelector(".panel");
        const found = await page.evaluate(() => ({
          hacked: window.hacked,
          elements: document.querySelectorAll("main img, main script, main b:not(.keys b)").length,
          scripts: document.scripts.length,
          addresses: [...document.querySelectorAll("main a")].filter((link) => !link.getAttribute("href").startsWith("#/"))
            .length,
        }));
        assert.deepEqual(found, { hacked: undefined, elements: 0, scripts: 1, addresses: 0 }, fragment);
      }
      await page.goto(`${hub.url}/#/hosts`);
      await page.locator("a.name", { hasText: "onerror" }).click();
      await page.getByRole("heading", { level: 1, name: "onerror" }).waitFor();
      await shows(page, hostile.latest.topItems[0].path, "<script>window.hacked='skip'</script>");
    });
  });

  test("an empty fleet says what to do", () =>
    visit(
      "",
      { hosts: [] },
      async (page, hub) => {
        await shows(page, "No host has reported yet", `"url": "${hub.url}"`);
      },
      { wait: ".blank" },
    ));

  test("a failing hub is reported, loaded data stays, and it recovers", () =>
    visit(
      "#/hosts",
      {},
      async (page, hub) => {
        hub.failing = 500;
        await page.getByRole("button", { name: "Refresh" }).click();
        await page.locator("#banner", { hasText: "the disk is full" }).waitFor();
        assert.equal(await rows(page).count(), 40);
        await page.goto(`${hub.url}/#/activity`);
        await page.getByText("The data could not be read").waitFor();
        hub.failing = 0;
        await page.getByRole("button", { name: "Try again" }).click();
        await page.waitForSelector(".events");
      },
      { expected: /500/ },
    ));

  test("the page reads anew every 30 seconds while it is visible", () =>
    visit(
      "about:blank",
      {},
      async (page, hub) => {
        await page.clock.install();
        await page.goto(hub.url);
        await page.waitForSelector(".panel");
        const count = () => hub.requests.filter((each) => each.endsWith("/summary")).length;
        const settle = async () => {
          await page.evaluate(() => fetch("/api/v1/info"));
          return count();
        };
        assert.equal(await settle(), 1);
        await page.clock.runFor(29000);
        assert.equal(await settle(), 1);
        await page.clock.runFor(1500);
        assert.equal(await settle(), 2);
        await page.evaluate(() =>
          Object.defineProperty(document, "visibilityState", { configurable: true, get: () => "hidden" }),
        );
        await page.clock.runFor(90000);
        assert.equal(await settle(), 2);
      },
      { wait: null, expected: /404/ },
    ));

  test("numbers and times are those of the reader's locale", () =>
    visit(
      "#/hosts",
      {},
      async (page) => {
        await shows(page, "vor ");
        assert.match(await main(page), /\d,\d\sGB/);
      },
      { context: { locale: "de-DE" } },
    ));

  for (const colorScheme of ["light", "dark"]) {
    test(`every text can be read in the ${colorScheme} scheme`, () =>
      visit(
        "",
        {},
        async (page, hub) => {
          for (const fragment of ["#/", "#/hosts", "#/host/web-01", "#/policies/developer", "#/activity"]) {
            await page.goto(`${hub.url}/${fragment}`);
            await page.waitForSelector(".panel");
            const { poor, ground } = await page.evaluate(measureContrast);
            assert.deepEqual(poor, [], fragment);
            assert.equal(ground < 0.2, colorScheme === "dark");
          }
        },
        { context: { colorScheme } },
      ));
  }

  test("on a phone nothing is wider than the screen", () =>
    visit(
      "",
      { hosts: [makeHostile(), ...makeFleet(30)] },
      async (page, hub) => {
        for (const fragment of [
          "#/",
          "#/hosts",
          "#/host/web-01",
          `#/host/${encodeURIComponent(hub.hosts[0].host)}`,
          "#/policies/developer",
          "#/policies?new=1",
          "#/activity",
        ]) {
          await page.goto(`${hub.url}/${fragment}`);
          await page.waitForSelector(".panel");
          assert.deepEqual(await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]), [360, 360], fragment);
        }
        await page.getByRole("link", { name: "Hosts" }).click();
        await page.getByRole("combobox", { name: "Sort by" }).selectOption("reclaimable");
        const most = [...hub.hosts].sort((a, b) => b.latest.reclaimableBytes - a.latest.reclaimableBytes)[0];
        assert.equal((await hostNames(page))[0], most.host);
      },
      { context: { viewport: { width: 360, height: 740 }, isMobile: true, hasTouch: true } },
    ));
});
