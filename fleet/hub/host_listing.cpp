#include "fleet/hub/host_listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "core/base/text.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

/// True for text that a spreadsheet may run as a formula (formula injection); some locales accept full-width signs, and
/// some characters are skipped before one.
bool looksLikeFormula(std::string_view text) {
  if (text.empty()) return false;
  if (std::string_view("\t\r\n").find(text.front()) != std::string_view::npos) return true;
  const std::string_view rest = trimmed(text);
  constexpr std::array<std::string_view, 10> signs{"=", "+", "-", "@", "|", "%", "＝", "＋", "－", "＠"};
  return std::any_of(signs.begin(), signs.end(), [rest](std::string_view sign) { return rest.starts_with(sign); });
}

std::string textCell(std::string_view given) {
  std::string text = replacingInvalidUtf8(given);
  if (looksLikeFormula(text)) text.insert(text.begin(), '\'');
  const bool isPlain = text.find_first_of("\",;\r\n") == std::string::npos && trimmed(text).size() == text.size();
  if (isPlain) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + '"';
}

std::string numberCell(std::optional<std::int64_t> number) { return number ? fmt::to_string(*number) : ""; }

std::string tagsCell(const std::map<std::string, std::string>& tags) {
  std::vector<std::string> pairs;
  pairs.reserve(tags.size());
  for (const auto& [key, value] : tags) pairs.push_back(fmt::format("{}={}", key, value));
  return textCell(joined(pairs, "; "));
}

struct Column {
  std::string_view name;
  std::string (*cell)(const HubHostView& host);
};

template <auto Field>
std::string reportNumber(const HubHostView& host) {
  return numberCell(host.file->latest.*Field);
}

constexpr std::array columns{
    Column{"host", [](const HubHostView& host) { return textCell(host.file->host); }},
    Column{"status", [](const HubHostView& host) { return std::string(rawValue(host.condition.status)); }},
    Column{"statusReasons", [](const HubHostView& host) { return textCell(joined(host.condition.reasons, "; ")); }},
    Column{"platform", [](const HubHostView& host) { return std::string(rawValue(host.file->latest.platform)); }},
    Column{"policy", [](const HubHostView& host) { return textCell(host.file->latest.policyName); }},
    Column{"version", [](const HubHostView& host) { return textCell(host.file->latest.tidraVersion); }},
    Column{"dryRun", [](const HubHostView& host) { return std::string(host.file->latest.dryRun ? "true" : "false"); }},
    Column{"firstSeen", [](const HubHostView& host) { return iso8601(host.file->firstSeen); }},
    Column{"lastSeen", [](const HubHostView& host) { return iso8601(host.file->lastSeen); }},
    Column{"reports", [](const HubHostView& host) { return numberCell(host.file->reports); }},
    Column{"findings", &reportNumber<&HubHostReport::findings>},
    Column{"reclaimableBytes", &reportNumber<&HubHostReport::reclaimableBytes>},
    Column{"disposedBytes", &reportNumber<&HubHostReport::disposedBytes>},
    Column{"failures", &reportNumber<&HubHostReport::failures>},
    Column{"disposedBytesTotal", &reportNumber<&HubHostReport::disposedBytesTotal>},
    Column{"quarantineBytes", &reportNumber<&HubHostReport::quarantineBytes>},
    Column{"volumeTotalBytes", &reportNumber<&HubHostReport::volumeTotalBytes>},
    Column{"volumeAvailableBytes", &reportNumber<&HubHostReport::volumeAvailableBytes>},
    Column{"tags", [](const HubHostView& host) { return tagsCell(host.file->latest.tags); }},
    Column{"note", [](const HubHostView& host) { return textCell(host.file->note.value_or("")); }},
    Column{"freedBytes", &reportNumber<&HubHostReport::freedBytes>},
    Column{"freedBytesTotal", &reportNumber<&HubHostReport::freedBytesTotal>},
};

/// What is written of a host, from where the store has it.
struct HostRow {
  const HubHostView& host;
  HostRowParts parts;
};

}  // namespace

/// The keys of HubHostRecord.
template <>
struct JsonCodec<HostRow> {
  static void write(JsonWriter& out, const HostRow& row) {
    const HubHostFile& file = *row.host.file;
    JsonObjectWriter object(out);
    object.put("firstSeen", file.firstSeen);
    if (row.parts.history) object.put("history", file.history);
    object.put("host", file.host).put("lastSeen", file.lastSeen);
    if (row.parts.topItems) {
      object.put("latest", file.latest);
    } else {
      object.put("latest", ReportWithoutTopItems{file.latest});
    }
    object.put("note", file.note)
        .put("reports", file.reports)
        .put("status", row.host.condition.status)
        .put("statusReasons", row.host.condition.reasons)
        .close();
  }
};

std::string hostRowText(const HubHostView& host, HostRowParts parts) { return compactJson(HostRow{host, parts}); }

std::optional<std::string> hostListingText(const std::vector<HubHostView>& hosts, HostRowParts parts,
                                           std::size_t mostBytes) {
  constexpr std::string_view end = "]}";
  std::string text;
  JsonWriter out(text);
  out.raw(R"({"hosts":[)");
  for (const HubHostView& host : hosts) {
    if (&host != hosts.data()) out.raw(",");
    JsonCodec<HostRow>::write(out, {host, parts});
    if (out.size() + end.size() > mostBytes) return std::nullopt;
  }
  out.raw(end);
  out.flush();
  return text;
}

std::string hostTableText(const std::vector<HubHostView>& hosts) {
  std::string text;
  for (const Column& column : columns) {
    if (!text.empty()) text += ',';
    text += column.name;
  }
  text += "\r\n";
  for (const HubHostView& host : hosts) {
    for (const Column& column : columns) {
      if (&column != columns.data()) text += ',';
      text += column.cell(host);
    }
    text += "\r\n";
  }
  return text;
}

}  // namespace tidra
