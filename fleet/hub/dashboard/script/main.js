// Selects the view, loads its data, and shows load errors.

const refreshInterval = 30000; // milliseconds
const views = { overview: overviewView, hosts: hostsView, host: hostView, policies: policiesView, activity: activityView };

const main = document.getElementById("main");
const updated = document.getElementById("updated");
const refreshButton = document.getElementById("refresh");
const hubTitle = document.getElementById("hub-title").textContent;

let current = null; // { route, view, data, loadedAt }
let tokenDismissed = false;

function setBanner(...content) {
  const banner = document.getElementById("banner");
  banner.replaceChildren(...(content.length ? [h("div", null, content)] : []));
}

function showAge() {
  updated.textContent = current?.loadedAt ? `Updated ${relativeWords(new Date(current.loadedAt))}` : "";
  updated.title = current?.loadedAt ? exactTimes.format(current.loadedAt) : "";
}

// Renders `page`, unless the reader has navigated away.
function renderPage(page, data) {
  if (page !== current) return;
  const content = page.view.render(data);
  if (content) replaceContent(main, content);
  page.shown = true;
}

const retryButton = () => h("button", { type: "button", onclick: () => reload() }, "Try again");

function showFailure(page, error) {
  if (page !== current) return;
  if (error.status === 401) return showLocked(page, error);
  if (error.status === 404 && page.view.missing) return replaceContent(main, page.view.missing());
  if (page.shown)
    return setBanner(
      h("span", null, `${error.message} What you see is from ${clockTimes.format(page.loadedAt || Date.now())}.`),
      retryButton(),
    );
  replaceContent(main, blankPage("The data could not be read", error.message, retryButton()));
}

async function showLocked(page, error) {
  page.shown = false;
  inventory.rows = [];
  inventory.complete = false;
  replaceContent(
    main,
    blankPage(
      "This hub is locked",
      token.value ? "The saved token is not accepted." : `It answers: ${error.message}.`,
      h("button", { type: "button", class: "primary", onclick: enterToken }, "Enter the admin token"),
    ),
  );
  if (tokenDismissed) return;
  await enterToken();
}

async function enterToken() {
  const changed = await askToken(true);
  tokenDismissed = !changed || !token.value;
  if (changed) await reload(true);
}

// Reloads the data of the current view. Awaits a load in progress; after a change (`changed`) loads again, since that
// load may have missed it.
async function reload(changed = false) {
  const page = current;
  if (page.reading) {
    await page.reading;
    if (!changed || page !== current) return;
  }
  refreshButton.classList.add("busy");
  page.reading = (async () => {
    try {
      page.data = await page.view.load();
      page.loadedAt = Date.now();
      if (page === current) setBanner();
      renderPage(page, page.data);
    } catch (error) {
      if (!(error instanceof ApiError)) console.error(error);
      return () => showFailure(page, error);
    } finally {
      page.reading = null;
      if (page === current) refreshButton.classList.remove("busy");
      showAge();
    }
    return null;
  })();
  // After loading: showing an error may wait for the reader and reload.
  const failed = await page.reading;
  if (failed) failed();
}

function markTab(route) {
  const tab = route.view === "host" ? "hosts" : route.view;
  for (const link of document.querySelectorAll("#tabs a")) {
    if (link.dataset.view === tab) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
}

function openRoute() {
  const route = parseRoute(location.hash);
  const same =
    current && current.route.view === route.view && current.route.name === route.name && current.view.follow && current.shown;
  markTab(route);
  hideTip();
  if (same) {
    current.view.follow(route);
    return;
  }
  const view = views[route.view];
  const first = current === null;
  const page = { route, loadedAt: null };
  page.view = view.create(
    route,
    (data) => renderPage(page, data),
    () => reload(true),
  );
  current = page;
  setBanner();
  const title = typeof view.title === "function" ? view.title(route) : view.title;
  document.title = `${title} · ${hubTitle}`;
  const earlier = page.view.earlier?.();
  if (earlier) renderPage(page, earlier);
  else replaceContent(main, page.view.placeholder());
  scrollTo(0, 0);
  if (!first) main.focus({ preventScroll: true });
  showAge();
  reload();
}

function start() {
  token.load();
  addEventListener("hashchange", openRoute);
  document.getElementById("skip").addEventListener("click", (event) => {
    event.preventDefault();
    main.focus();
  });
  refreshButton.addEventListener("click", () => reload());
  document.getElementById("token").addEventListener("click", async () => {
    if (!(await askToken(false))) return;
    tokenDismissed = !token.value; // do not ask for the token again right after it was removed
    await reload(true);
  });
  setInterval(() => {
    if (document.visibilityState === "visible") reload();
  }, refreshInterval);
  document.addEventListener("visibilitychange", () => {
    if (document.visibilityState === "visible" && Date.now() - (current.loadedAt || 0) > refreshInterval) reload();
  });
  setInterval(() => {
    refreshTimes(main);
    showAge();
  }, 5000);
  openRoute();
  // Hide the token button when the hub requires no token.
  api
    .info()
    .then((info) => {
      document.getElementById("token").hidden = info.authRequired === "false" && !token.value;
    })
    .catch(() => {});
}

start();
