// CSV as spreadsheets read it (RFC 4180).

// A text that a spreadsheet would run as a formula is marked as text with an apostrophe. In some locales full-width signs begin one.
function csvCell(value) {
  if (typeof value === "number") return String(value);
  const text = textOf(value);
  const plain = /^[\s]*[=+\-@|%＝＋－＠]|^[\t\r\n]/.test(text) ? `'${text}` : text;
  return /[",\r\n;]/.test(plain) || plain !== plain.trim() ? `"${plain.replaceAll('"', '""')}"` : plain;
}

const csvText = (header, rows) => [header, ...rows].map((row) => row.map(csvCell).join(",") + "\r\n").join("");

function downloadCsv(name, header, rows) {
  // The mark at the start tells spreadsheets that the text is UTF-8.
  const address = URL.createObjectURL(new Blob(["\ufeff", csvText(header, rows)], { type: "text/csv;charset=utf-8" }));
  h("a", { href: address, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(address), 10000);
}
