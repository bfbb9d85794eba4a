// The hub's API client and its token.

const tokenKey = "tidraHubToken";
const requestTimeout = 30000; // milliseconds

// A refusal by the hub (`status` as in HTTP), or no response at all (`status` 0).
class ApiError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

const token = {
  value: null,
  // Browsers may block storage; then the token lives as long as the page.
  load() {
    try {
      this.value = localStorage.getItem(tokenKey);
    } catch {
      this.value = null;
    }
  },
  save(text) {
    this.value = text || null;
    try {
      if (text) localStorage.setItem(tokenKey, text);
      else localStorage.removeItem(tokenKey);
    } catch {
      // kept for this visit only
    }
  },
};

async function send(path, { method = "GET", body } = {}) {
  const headers = {};
  // Header values are Latin-1 in browsers; other characters cannot be in a valid token.
  if (token.value && /^[\x20-\x7e]+$/.test(token.value)) headers.Authorization = `Bearer ${token.value}`;
  // CSRF guard: another site cannot send JSON without a CORS preflight, which the hub refuses.
  if (method !== "GET") headers["Content-Type"] = "application/json";
  try {
    return await fetch(`/api/v1/${path}`, {
      method,
      body,
      headers,
      cache: "no-store",
      signal: AbortSignal.timeout(requestTimeout),
    });
  } catch (error) {
    const reason = error.name === "TimeoutError" ? "it did not answer in time" : "there was no connection";
    throw new ApiError(0, `The hub cannot be reached: ${reason}.`);
  }
}

async function refusal(response) {
  let message = "";
  try {
    message = textOf(JSON.parse(await response.text()).error);
  } catch {
 // not the hub's JSON; perhaps a proxy's response
  }
  return new ApiError(response.status, message || `The hub answered with status ${response.status}.`);
}

async function request(path, options) {
  const response = await send(path, options);
  if (!response.ok) throw await refusal(response);
  return response;
}

async function requestJSON(path, options) {
  const response = await request(path, options);
  try {
    return await response.json();
  } catch {
    throw new ApiError(0, "The hub's answer is not JSON; is something else answering at this address?");
  }
}

const listOf = (value) => (Array.isArray(value) ? value : []);
const mapOf = (value) => (value && typeof value === "object" && !Array.isArray(value) ? value : {});

const api = {
  info: () => requestJSON("info"),
  summary: () => requestJSON("summary"),
  host: (name) => requestJSON(`hosts/${encodeURIComponent(name)}`),
  removeHost: (name) => requestJSON(`hosts/${encodeURIComponent(name)}`, { method: "DELETE" }),
  setNote: (name, note) => requestJSON(`hosts/${encodeURIComponent(name)}/note`, { method: "PUT", body: note }),
  policies: async () => listOf((await requestJSON("policies")).policies).map(textOf),
  policy: async (name) => (await request(`policies/${encodeURIComponent(name)}`)).text(),
  putPolicy: (name, text) => requestJSON(`policies/${encodeURIComponent(name)}`, { method: "PUT", body: text }),
  removePolicy: (name) => requestJSON(`policies/${encodeURIComponent(name)}`, { method: "DELETE" }),
  events: async () => listOf((await requestJSON("events?n=200")).events),

  // A page of rows without history and largest findings, and `total`, the number of matches; null when an older hub
  // without paging sent the whole list.
  async hosts(query) {
    const response = await request(`hosts?${new URLSearchParams({ history: 0, topItems: 0, ...query })}`);
    const header = response.headers.get("X-Total-Count");
    let rows;
    try {
      rows = listOf((await response.json()).hosts);
    } catch {
      throw new ApiError(0, "The hub's answer is not JSON; is something else answering at this address?");
    }
    return { rows, total: header === null || !/^\d+$/.test(header) ? null : Number(header) };
  },
};
