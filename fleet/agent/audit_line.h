// A fast path: recognises lines that are byte for byte the encoder's output, without decoding them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "fleet/agent/audit_record.h"

namespace tidra {

/// The fields needed to verify the chain and to sum up. All views point into the line.
struct CanonicalAuditLine {
  std::int64_t seq = 0;
  std::string_view prevHash;  // the text between the quotes
  std::string_view hash;
  std::string_view beforeHash;  // up to the comma before `hash`
  std::string_view afterHash;   // from the comma after `hash`
  AuditedAct act;
};

/// None unless the line is the canonical encoding of a record with a hash. Also none for rare canonical lines
/// with names that are not UTF-8: decode and re-encode those.
std::optional<CanonicalAuditLine> readCanonicalAuditLine(std::string_view line);

}  // namespace tidra
