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
struct [[nodiscard]] DisposalOutcome {
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

/// What emptying the trash has deleted, or would delete, beside the receipts of an outcome.
struct EmptiedTrash {
  std::int64_t entries = 0;
  std::int64_t freedBytes = 0;

  bool operator==(const EmptiedTrash&) const = default;
};

/// An outcome as it is printed: with `unmeasured` beside its receipts unless that is empty. Refers to both.
struct CountedOutcome {
  const DisposalOutcome& outcome;
  const std::vector<UnmeasuredSize>& unmeasured;
  std::int64_t freedBytes = 0;  // that the volumes gained, or would gain; what moved to a store frees nothing
  bool isDryRun = false;
  std::optional<EmptiedTrash> emptiedTrash = {};  // absent where the trash is not emptied afterwards
};

extern template struct RecordCodec<DisposalReceipt>;
template <>
struct JsonCodec<DisposalReceipt> : RecordCodec<DisposalReceipt> {};

extern template struct RecordCodec<TidraDeletionFailure>;
template <>
struct JsonCodec<TidraDeletionFailure> : RecordCodec<TidraDeletionFailure> {};

extern template struct RecordCodec<EmptiedTrash>;
template <>
struct JsonCodec<EmptiedTrash> : RecordCodec<EmptiedTrash> {};

extern template struct RecordCodec<UnmeasuredSize>;
template <>
struct JsonCodec<UnmeasuredSize> : RecordCodec<UnmeasuredSize> {};

extern template struct RecordCodec<DisposalOutcome>;
template <>
struct JsonCodec<DisposalOutcome> : RecordCodec<DisposalOutcome> {};

template <>
struct JsonCodec<CountedOutcome> {
  static void write(JsonWriter& out, const CountedOutcome& counted);
};

}  // namespace tidra
