// CSV as in RFC 4180.

// Guards against formula injection: an apostrophe makes a cell text. In some locales full-width signs begin a formula.
function csvCell(value) {
  if (typeof value === "number") return String(value);
  const text = textOf(value);
  const plain = /^[\s]*[=+\-@|%＝＋－＠]|^[\t\r\n]/.test(text) ? `'${text}` : text;
  return /[",\r\n;]/.test(plain) || plain !== plain.trim() ? `"${plain.replaceAll('"', '""')}"` : plain;
}

const csvText = (header, rows) => [header, ...rows].map((row) => row.map(csvCell).join(",") + "\r\n").join("");

function downloadCsv(name, header, rows) {
  // The BOM marks the text as UTF-8 for spreadsheets.
  const address = URL.createObjectURL(new Blob(["\ufeff", csvText(header, rows)], { type: "text/csv;charset=utf-8" }));
  h("a", { href: address, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(address), 10000);
}
