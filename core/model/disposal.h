// Disposal methods, and the result per item.
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

/// How items are removed, gentlest first.
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

/// An item that was removed.
struct DisposalReceipt {
  std::string path;  // as passed
  DisposalMethod method = DisposalMethod::trash;
  std::optional<std::string> destination;  // in the trash or quarantine; absent for deletion and tool-backed targets
  std::optional<std::int64_t> bytes;       // measured just before the removal
  TimePoint at{};

  bool operator==(const DisposalReceipt&) const = default;
};

/// An item that was not removed.
struct TidraDeletionFailure {
  std::string path;     // as passed
  std::string message;  // sentence for the user

  bool operator==(const TidraDeletionFailure&) const = default;
};

/// Both in the order in which the items were processed.
struct DisposalOutcome {
  std::vector<DisposalReceipt> receipts;
  std::vector<TidraDeletionFailure> failures;

  bool operator==(const DisposalOutcome&) const = default;
};

/// Size of a removed item whose receipt has no bytes: a tool removed it, or measuring timed out.
struct UnmeasuredSize {
  std::string path;  // of the receipt
  std::int64_t bytes = 0;
  bool reportedByTool = false;  // reclaimed bytes as the tool printed them; else the size from the scan

  bool operator==(const UnmeasuredSize&) const = default;
};

/// Returns the saturating sum over all items.
std::int64_t disposedBytes(const std::vector<DisposalReceipt>& receipts, const std::vector<UnmeasuredSize>& unmeasured);

/// Encodes an outcome, with the key `unmeasured` unless that is empty.
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
