// The policy editor: errors are shown below the text, and their position is selected.

const policyNameRule = /^[A-Za-z0-9\-_.]+$/;

// Drafts by policy name ("" for a new one); they survive a change of view.
const drafts = new Map();

const jsonToken =
  /[ \t\r\n]*(?:("(?:[^"\\\u0000-\u001f]|\\(?:["\\/bfnrt]|u[0-9a-fA-F]{4}))*"|-?(?:0|[1-9]\d*)(?:\.\d+)?(?:[eE][+-]?\d+)?|true|false|null)|([{}[\],:]))/y;

const expectedWords = {
  value: "a value",
  "value or ]": "a value or ]",
  key: "a name in quotes",
  "key or }": "a name in quotes or }",
  ":": "a colon",
};

// The first JSON syntax error: { place, wanted }. JSON.parse reports no position, or a different one in each browser.
function findJsonFault(text) {
  const open = []; // the brackets that are open
  let expected = "value"; // "value", "value or ]", "key", "key or }", ":" or "end" (a comma, a closing bracket, or nothing more)
  const after = { "{": "key or }", "[": "value or ]" };
  for (let place = 0; ;) {
    jsonToken.lastIndex = place;
    const match = jsonToken.exec(text);
    const start = place + /^[ \t\r\n]*/.exec(text.slice(place))[0].length;
    const wanted = expectedWords[expected] || (open.length ? `a comma or ${open.at(-1) === "{" ? "}" : "]"}` : "nothing more");
    if (!match) return { place: start, wanted };
    const [, scalar, mark] = match;
    place = jsonToken.lastIndex;
    const wantsValue = expected.startsWith("value");
    if (scalar && expected.startsWith("key") && scalar.startsWith('"')) expected = ":";
    else if (scalar && wantsValue) expected = "end";
    else if (mark in after && wantsValue) expected = after[open[open.push(mark) - 1]];
    else if (mark === ":" && expected === ":") expected = "value";
    else if (mark === "," && expected === "end" && open.length) expected = open.at(-1) === "{" ? "key" : "value";
    else if (
      (mark === "}" && open.at(-1) === "{" && /}|end/.test(expected)) ||
      (mark === "]" && open.at(-1) === "[" && /]|end/.test(expected))
    ) {
      open.pop();
      expected = "end";
    } else {
      return { place: start, wanted };
    }
  }
}

// The position of the key named in the hub's message ("autoClean.minIdleDays must be …"), or null.
function placeOfKey(message, text) {
  const names = message.match(/[A-Za-z][A-Za-z0-9]*(?:\.[A-Za-z][A-Za-z0-9]*)*/g) || [];
  for (const name of names.sort((a, b) => b.length - a.length)) {
    const place = text.indexOf(`"${name.split(".").at(-1)}"`);
    if (place >= 0) return place;
  }
  return null;
}

function lineOf(text, place) {
  return text.slice(0, place).split("\n").length;
}

// An error that is detectable without the hub: { message, place } or null.
function faultOfText(text) {
  try {
    const value = JSON.parse(text);
    if (value && typeof value === "object" && !Array.isArray(value)) return null;
    return { message: "A policy is a JSON object, in braces.", place: 0 };
  } catch {
    const { place, wanted } = findJsonFault(text);
    // Mark a missing end in the last line with content.
    const shown = Math.min(place, text.trimEnd().length);
    return {
      message: `Line ${formatCount(lineOf(text, shown))} is not valid JSON: ${wanted} is expected where the selection begins.`,
      place: shown,
    };
  }
}

function faultOfName(name, taken) {
  if (!policyNameRule.test(name)) return `'${name}' is not a valid policy name (letters, digits, - _ . only)`;
  // Browsers resolve these two as folders and would request another path.
  if (name === "." || name === "..") return `'${name}' is not a valid policy name (it would name a folder)`;
  if (taken.includes(name)) return `There is a policy named '${name}' already; open it to change it.`;
  return "";
}

function selectPlace(area, place) {
  if (place === null) return;
  const end = area.value.indexOf("\n", place);
  area.focus();
  area.setSelectionRange(place, end < 0 ? area.value.length : end);
  area.scrollTop = Math.max(0, (lineOf(area.value, place) - 4) * 20);
}

// The form for policy `name` ("" for a new one). `original` is its text on the hub, `taken` the names in use;
// `ondone(name)` is called after saving, with null after cancelling.
function policyEditor({ name, original, taken, ondone }) {
  const draft = drafts.get(name) || { name, text: original };
  const problem = h("p", { class: "problem", role: "alert", id: "policy-problem" });
  const nameProblem = h("p", { class: "problem", role: "alert", id: "name-problem" });
  const keep = () => drafts.set(name, { name: nameInput.value, text: area.value });
  const nameInput = h("input", {
    name: "name",
    value: draft.name,
    autocomplete: "off",
    spellcheck: "false",
    "aria-describedby": "name-problem",
    oninput: keep,
  });
  const area = h(
    "textarea",
    {
      class: "editor",
      id: "policy-text",
      name: "text",
      spellcheck: "false",
      "aria-describedby": "policy-problem",
      oninput: keep,
    },
    draft.text,
  );
  const save = h("button", { type: "submit", class: "primary" }, "Save policy");
  const refuse = (message, place) => {
    problem.textContent = message;
    area.setAttribute("aria-invalid", "true");
    selectPlace(area, place);
  };
  const format = () => {
    const fault = faultOfText(area.value);
    if (fault) return refuse(fault.message, fault.place);
    area.value = JSON.stringify(JSON.parse(area.value), null, 2) + "\n";
    keep();
  };
  let base = original;
  const submit = async () => {
    const target = name || nameInput.value.trim();
    const badName = name ? "" : faultOfName(target, taken);
    nameProblem.textContent = badName;
    nameInput.setAttribute("aria-invalid", badName ? "true" : "false");
    if (badName) return nameInput.focus();
    const fault = faultOfText(area.value);
    if (fault) return refuse(fault.message, fault.place);
    try {
      const current = name
        ? await api.policy(name).catch((error) => (error.status === 404 ? base : Promise.reject(error)))
        : base;
      if (current !== base) {
        base = current; // the reader has seen it: the next save overwrites
        return refuse(
          "Someone else has changed this policy since you opened it. Save again to replace their version with yours.",
          null,
        );
      }
      await api.putPolicy(target, area.value);
    } catch (error) {
      return refuse(sentence(error), error.status === 400 ? placeOfKey(error.message, area.value) : null);
    }
    drafts.delete(name);
    ondone(target);
  };
  return h(
    "form",
    {
      onsubmit: async (event) => {
        event.preventDefault();
        problem.textContent = "";
        area.removeAttribute("aria-invalid");
        save.disabled = true;
        await submit();
        save.disabled = false;
      },
    },
    !name && [h("label", { class: "field" }, "Name", nameInput), nameProblem, h("p", null, "\u00a0")],
    h("div", { class: "field" }, h("label", { for: "policy-text" }, "Policy (JSON)"), area),
    problem,
    h(
      "div",
      { class: "tools below" },
      save,
      h("button", { type: "button", onclick: format }, "Format"),
      h(
        "button",
        {
          type: "button",
          onclick: () => {
            drafts.delete(name);
            ondone(null);
          },
        },
        "Cancel",
      ),
    ),
  );
}
