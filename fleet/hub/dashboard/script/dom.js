// XSS guard: elements are built from values, never parsed from text. Strings become text nodes or attribute values, so
// text from hosts cannot become markup. No script of this page may use innerHTML or the like.

const svgSpace = "http://www.w3.org/2000/svg";

function fill(node, attributes, children) {
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else node.setAttribute(name, value === true ? "" : String(value));
  }
  node.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
  return node;
}

// Creates an HTML element. Omits attributes that are null, undefined or false; "onclick" and the like add listeners.
function h(tag, attributes, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

// Creates an SVG element.
function svg(tag, attributes, ...children) {
  return fill(document.createElementNS(svgSpace, tag), attributes, children);
}

// Replaces the children of `parent` and keeps the focus: the focused element is found again by its "data-keep".
function replaceContent(parent, ...children) {
  const kept = parent.contains(document.activeElement) && document.activeElement.getAttribute("data-keep");
  const place = kept && document.activeElement.selectionStart;
  parent.replaceChildren(...children.flat(Infinity).filter(Boolean));
  if (!kept) return;
  const again = [...parent.querySelectorAll("[data-keep]")].find((node) => node.getAttribute("data-keep") === kept);
  if (!again) return;
  again.focus({ preventScroll: true });
  if (typeof place === "number" && again.setSelectionRange) again.setSelectionRange(place, place);
}

// Announces a text to screen readers without moving the focus.
function announce(text) {
  document.getElementById("announcer").textContent = text;
}
