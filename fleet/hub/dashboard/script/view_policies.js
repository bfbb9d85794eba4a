// The policies served to agents.

const newPolicyText = `{
  "name": "",
  "scan": { "roots": ["~"] },
  "autoClean": { "tiers": ["safe"], "minIdleDays": 14 },
  "disposal": { "method": "quarantine", "retentionDays": 7 },
  "dryRun": true
}
`;

function objectOf(text) {
  try {
    return mapOf(JSON.parse(text));
  } catch {
    return {};
  }
}

// A policy's effects in words; an absent key is described by its default.
function policyFacts(text) {
  const policy = objectOf(text);
  const [clean, never, disposal, scan] = ["autoClean", "never", "disposal", "scan"].map((section) => mapOf(policy[section]));
  const names = (value, fallback) => (Array.isArray(value) ? value.map(textOf).join(", ") || "none" : fallback);
  const budgets = [
    clean.maxBytesPerRun && formatBytes(clean.maxBytesPerRun),
    clean.maxItemsPerRun && counted(clean.maxItemsPerRun, "item"),
  ].filter(Boolean);
  const kept = [
    names(never.tiers, "warning") + " tier",
    listOf(never.ruleIDs).length && counted(never.ruleIDs.length, "rule"),
    listOf(never.paths).length && counted(never.paths.length, "path"),
  ].filter(Boolean);
  const days = (value, fallback) => counted(typeof value === "number" ? value : fallback, "day");
  return [
    ["Scans", names(scan.roots, "~")],
    [
      "Removes",
      `${names(clean.tiers, "safe")} tier, idle for ${days(clean.minIdleDays, 7)}, at least ${formatBytes(clean.minBytes ?? 1048576)}`,
    ],
    ["Per run at most", budgets.length ? budgets.join(", ") : "no limit"],
    [
      "How",
      disposal.method === "trash" || disposal.method === "delete"
        ? disposal.method
        : `quarantine, kept ${days(disposal.retentionDays, 7)}`,
    ],
    ["Never", kept.join(", ")],
    ["Mode", policy.dryRun === true ? "dry run: nothing is removed" : "removes"],
  ];
}

const policiesView = {
  title: (route) => (route.name ? `${route.name} · Policies` : "Policies"),
  create(route, rerender, reload) {
    const isNew = route.filters.new !== undefined;
    let editing = isNew || drafts.has(route.name);
    let editor = null;
    const usersOf = (data, text) => numeric(mapOf(data.summary.hostsByPolicy)[textOf(objectOf(text).name) || "default"]);
    const finish = async (name) => {
      editor = null;
      editing = false;
      if (name) announce(`Policy ${name} saved`);
      if (isNew) location.hash = fragmentOf("policies", name || "");
      else await reload();
    };
    const list = (data) =>
      h(
        "ul",
        { class: "choices" },
        data.names.map((name) =>
          h(
            "li",
            null,
            h(
              "a",
              {
                href: fragmentOf("policies", name),
                "aria-current": name === route.name && "true",
                "data-keep": `policy ${name}`,
              },
              h("span", null, name),
              drafts.has(name) && h("span", null, "draft"),
            ),
          ),
        ),
      );
    const edit = (data) => {
      editor ??= policyEditor({
        name: route.name,
        original: isNew ? newPolicyText : data.text,
        taken: data.names,
        ondone: finish,
      });
      return panel(isNew ? "New policy" : `Edit ${route.name}`, {}, editor);
    };
    const remove = async (data) => {
      if (await confirmPolicyRemoval(route.name, usersOf(data, data.text))) location.hash = "#/policies";
    };
    const show = (data) => {
      const users = usersOf(data, data.text);
      const tools = h(
        "div",
        { class: "tools" },
        h(
          "button",
          {
            type: "button",
            "data-keep": "edit",
            onclick: () => {
              editing = true;
              rerender(data);
              editor.elements.text.focus();
            },
          },
          "Edit",
        ),
        h("button", { type: "button", class: "danger", "data-keep": "remove", onclick: () => remove(data) }, "Remove"),
      );
      return panel(
        route.name,
        { tools },
        h(
          "dl",
          { class: "facts" },
          policyFacts(data.text).map(([name, value]) => [h("dt", null, name), h("dd", null, value)]),
          h("dt", null, "In effect on"),
          h(
            "dd",
            null,
            counted(users, "host"),
            users > 0 && [
              " · ",
              h("a", { href: fragmentOf("hosts", "", { q: textOf(objectOf(data.text).name) }), "data-keep": "users" }, "show"),
            ],
          ),
        ),
        h("pre", { class: "code", tabindex: 0, "aria-label": "Policy document" }, data.text),
      );
    };
    const detail = (data) => {
      if (isNew) return edit(data);
      if (route.name && data.text === null)
        return panel(route.name, {}, blank("No such policy", `The hub holds no policy named “${route.name}”.`));
      if (route.name) return editing ? edit(data) : show(data);
      return panel(
        "Policies",
        {},
        data.names.length
          ? blank("Choose a policy", "It is shown here with what it does in words.")
          : blank("No policy is stored yet", "Agents whose policy names one of the hub's fetch it before each run."),
      );
    };
    return {
      placeholder: () => skeleton([50, 400]),
      async load() {
        const missingIsNull = (error) => (error.status === 404 ? null : Promise.reject(error));
        const [names, text, summary] = await Promise.all([
          api.policies(),
          route.name ? api.policy(route.name).catch(missingIsNull) : null,
          api.summary(),
        ]);
        return { names: names.sort(collator.compare), text, summary };
      },
      render(data) {
        return [
          heading(
            "Policies",
            null,
            !isNew && h("a", { class: "button", href: "#/policies?new=1", "data-keep": "new" }, "New policy"),
          ),
          h(
            "div",
            { class: "split" },
            data.names.length > 0 && panel("Stored", { about: formatCount(data.names.length) }, list(data)),
            detail(data),
          ),
        ];
      },
    };
  },
};
