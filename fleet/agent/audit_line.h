// Telling at the speed of reading whether a line is, byte for byte, what the encoder makes of a record.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "fleet/agent/audit_record.h"

namespace tidra {

/// What following the chain and adding up take of a line. All views are into the line.
struct CanonicalAuditLine {
  std::int64_t seq = 0;
  std::string_view prevHash;  // as it stands between the quotes
  std::string_view hash;
  std::string_view beforeHash;  // the line up to the comma before its hash
  std::string_view afterHash;   // and from the comma after it
  AuditRecord::Event event = AuditRecord::Event::error;
  std::optional<std::uint64_t> bytes;
  bool dryRun = false;
};

/// None for every line that is not the encoding of a record with a hash, and for some rare ones that are: those with a
/// name that is not UTF-8, and with a number of 19 digits or more. Decoding and encoding again decides about these.
std::optional<CanonicalAuditLine> readCanonicalAuditLine(std::string_view line);

}  // namespace tidra
