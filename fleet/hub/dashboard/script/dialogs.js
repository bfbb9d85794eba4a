// Modal dialogs (<dialog>): focus trap, Escape closes, focus returns.

// Shows a form. `onsubmit(form)` may throw; the message is shown and the dialog stays open. Resolves to whether it was
// submitted.
function openDialog({ title, about, content = [], submit, danger, extra, onsubmit }) {
  return new Promise((resolve) => {
    const id = `dialog-${++lastId}`;
    const problem = h("p", { class: "problem", role: "alert" });
    const send = h("button", { type: "submit", class: `primary ${danger ? "danger" : ""}` }, submit);
    const form = h(
      "form",
      { method: "dialog" },
      h("h2", { id }, title),
      about && h("p", null, about),
      content,
      problem,
      h(
        "div",
        { class: "tools" },
        extra && extra((done) => close(done)),
        h("button", { type: "button", onclick: () => close(false) }, "Cancel"),
        send,
      ),
    );
    const dialog = h("dialog", { "aria-labelledby": id }, form);
    let result = false;
    const close = (done) => {
      result = done;
      dialog.close();
    };
    dialog.addEventListener("close", () => {
      dialog.remove();
      resolve(result);
    });
    form.addEventListener("submit", async (event) => {
      event.preventDefault();
      problem.textContent = "";
      send.disabled = true;
      try {
        await onsubmit(form);
        close(true);
      } catch (error) {
        problem.textContent = sentence(error);
      } finally {
        send.disabled = false;
      }
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}

// An error as a sentence.
function sentence(error) {
  if (error.status === 401) return "The hub refuses this without the admin token. Enter it with the key at the top.";
  return error.message;
}

let tokenDialog = null;

// Asks for the token, in one dialog at a time. Resolves to whether one was saved or removed.
function askToken(refused) {
  const about =
    refused && token.value
      ? "The hub did not accept the saved token. Enter the one it was started with."
      : "The hub asks for the token it was started with. It is kept in this browser only.";
  const input = h("input", {
    type: "password",
    name: "token",
    autocomplete: "off",
    spellcheck: "false",
    value: refused ? "" : token.value || "",
    required: true,
    autofocus: true,
  });
  const forget = (close) =>
    token.value &&
    h(
      "button",
      {
        type: "button",
        class: "left",
        onclick: () => {
          token.save(null);
          close(true);
        },
      },
      "Forget token",
    );
  tokenDialog ??= openDialog({
    title: "Admin token",
    about,
    submit: "Save",
    extra: forget,
    content: h("label", { class: "field" }, "Token", input),
    onsubmit: async () => {
      if (!input.value.trim()) throw new Error("Enter a token.");
      token.save(input.value.trim());
    },
  }).finally(() => {
    tokenDialog = null;
  });
  return tokenDialog;
}

function editNote(host, note) {
  return openDialog({
    title: `Note for ${host}`,
    about: "Seen by everyone who can open this page. An empty note is removed.",
    submit: "Save note",
    content: h("label", { class: "field" }, "Note", h("textarea", { name: "note", rows: 4, autofocus: true }, note)),
    onsubmit: (form) => api.setNote(host, form.elements.note.value.trim()),
  });
}

function confirmHostRemoval(host) {
  return openDialog({
    title: `Remove ${host}?`,
    submit: "Remove host",
    danger: true,
    about:
      "Its report, history and note are deleted from the hub. Nothing changes on the host itself; if it still runs, it comes back with its next report.",
    onsubmit: () => api.removeHost(host),
  });
}

function confirmPolicyRemoval(name, users) {
  return openDialog({
    title: `Remove policy ${name}?`,
    submit: "Remove policy",
    danger: true,
    about:
      users > 0
        ? `${counted(users, "host reports", "hosts report")} a policy of this name. A host that fetches it keeps its last good copy.`
        : "No host reports a policy of this name. This cannot be undone here.",
    onsubmit: () => api.removePolicy(name),
  });
}
