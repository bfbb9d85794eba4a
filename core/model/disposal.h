// What happens to selected things: the methods, and what is told of each item afterwards.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"

namespace tidra {

/// How items leave their place, the gentlest first.
enum class DisposalMethod { trash, quarantine, delete_ };

template <>
struct EnumTable<DisposalMethod> {
  static constexpr std::string_view name = "method";
  static constexpr std::array rows{
      EnumRow<DisposalMethod>{DisposalMethod::trash, "trash"},
      EnumRow<DisposalMethod>{DisposalMethod::quarantine, "quarantine"},
      EnumRow<DisposalMethod>{DisposalMethod::delete_, "delete"},
  };
};

/// An item that is gone from its place.
struct DisposalReceipt {
  std::string path;  // as given
  DisposalMethod method = DisposalMethod::trash;
  std::optional<std::string>
      destination;                    // in the trash or in quarantine; absent for deletion and for tool-backed targets
  std::optional<std::int64_t> bytes;  // measured just before
  TimePoint at{};

  bool operator==(const DisposalReceipt&) const = default;
};

/// An item that is still there.
struct TidraDeletionFailure {
  std::string path;     // as given
  std::string message;  // for people

  bool operator==(const TidraDeletionFailure&) const = default;
};

/// Both in the order in which the items were processed.
struct DisposalOutcome {
  std::vector<DisposalReceipt> receipts;
  std::vector<TidraDeletionFailure> failures;

  bool operator==(const DisposalOutcome&) const = default;
};

/// What a removed item counts for whose receipt has no bytes: a tool removed it, or measuring took too long.
struct UnmeasuredSize {
  std::string path;  // of the receipt
  std::int64_t bytes = 0;
  bool reportedByTool = false;  // what the tool said it reclaimed; else the size that the scan found

  bool operator==(const UnmeasuredSize&) const = default;
};

/// What the items of these receipts count for, all together; at most the largest figure.
std::int64_t disposedBytes(const std::vector<DisposalReceipt>& receipts, const std::vector<UnmeasuredSize>& unmeasured);

/// An outcome as JSON, with `unmeasured` beside its receipts unless that is empty.
nlohmann::json outcomeJson(const DisposalOutcome& outcome, const std::vector<UnmeasuredSize>& unmeasured);

template <>
struct JsonCodec<DisposalReceipt> {
  static nlohmann::json encode(const DisposalReceipt& receipt);
  static DisposalReceipt decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<TidraDeletionFailure> {
  static nlohmann::json encode(const TidraDeletionFailure& failure);
  static TidraDeletionFailure decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<UnmeasuredSize> {
  static nlohmann::json encode(const UnmeasuredSize& size);
};

template <>
struct JsonCodec<DisposalOutcome> {
  static nlohmann::json encode(const DisposalOutcome& outcome);
  static DisposalOutcome decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
