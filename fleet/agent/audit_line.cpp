#include "fleet/agent/audit_line.h"

#include <type_traits>

#include "fleet/agent/audit_fields.h"

namespace tidra {
namespace {

/// Takes what is wanted of the fields of a line.
struct LineVisitor {
  CanonicalAuditLine& line;
  std::string_view text;  // the whole line

  template <class Index, class Value>
  void operator()(Index, const Value& value) const {
    constexpr std::string_view key = fieldAt<AuditRecord, Index::value>.key;
    if constexpr (key == "bytes") line.act.bytes = value;
    if constexpr (key == "dryRun") line.act.dryRun = value;
    if constexpr (key == "event") line.act.event = value;
    if constexpr (key == "freedBytes") line.act.freedBytes = value;
    if constexpr (key == "method") line.act.method = value;
    if constexpr (key == "prevHash") line.prevHash = value;
    if constexpr (key == "seq") line.seq = value;
    if constexpr (key == "hash") {
      constexpr std::string_view opening = ",\"hash\":\"";
      const auto begin = static_cast<std::size_t>(value.data() - text.data());
      line.hash = value;
      line.beforeHash = text.substr(0, begin - opening.size());
      line.afterHash = text.substr(begin + value.size() + 1);
    }
  }
};

}  // namespace

std::optional<CanonicalAuditLine> readCanonicalAuditLine(std::string_view line) {
  CanonicalAuditLine result;
  CanonicalReader reader(line);
  if (!readCanonical<AuditRecord>(reader, LineVisitor{result, line})) return std::nullopt;
  // A record without a hash reads as well.
  return reader.rest().empty() && result.hash.data() != nullptr ? std::optional(result) : std::nullopt;
}

}  // namespace tidra
