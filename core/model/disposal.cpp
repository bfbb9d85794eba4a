#include "core/model/disposal.h"

#include "core/base/quantities.h"
#include "core/base/record_fields.h"

namespace tidra {

std::int64_t disposedBytes(const std::vector<DisposalReceipt>& receipts,
                           const std::vector<UnmeasuredSize>& unmeasured) {
  std::int64_t sum = 0;
  for (const DisposalReceipt& receipt : receipts) sum = saturatedSum(sum, receipt.bytes.value_or(0));
  for (const UnmeasuredSize& size : unmeasured) sum = saturatedSum(sum, size.bytes);
  return sum;
}

template <>
constexpr auto fieldsOf<DisposalReceipt> = recordFields(bytesField("path", &DisposalReceipt::path),
                                                        field("method", &DisposalReceipt::method),
                                                        bytesField("destination", &DisposalReceipt::destination),
                                                        field("bytes", &DisposalReceipt::bytes),
                                                        field("at", &DisposalReceipt::at));

template <>
constexpr auto fieldsOf<TidraDeletionFailure> = recordFields(bytesField("path", &TidraDeletionFailure::path),
                                                             field("message", &TidraDeletionFailure::message));

template <>
constexpr auto fieldsOf<UnmeasuredSize> = recordFields(bytesField("path", &UnmeasuredSize::path),
                                                       field("bytes", &UnmeasuredSize::bytes),
                                                       field("reportedByTool", &UnmeasuredSize::reportedByTool));

template <>
constexpr auto fieldsOf<EmptiedTrash> = recordFields(field("entries", &EmptiedTrash::entries),
                                                     field("freedBytes", &EmptiedTrash::freedBytes));

template <>
constexpr auto fieldsOf<DisposalOutcome> = recordFields(field("receipts", &DisposalOutcome::receipts),
                                                        field("failures", &DisposalOutcome::failures));

template struct RecordCodec<DisposalReceipt>;
template struct RecordCodec<TidraDeletionFailure>;
template struct RecordCodec<UnmeasuredSize>;
template struct RecordCodec<EmptiedTrash>;
template struct RecordCodec<DisposalOutcome>;

void JsonCodec<CountedOutcome>::write(JsonWriter& out, const CountedOutcome& counted) {
  JsonObjectWriter object(out);
  if (counted.isDryRun) object.put("dryRun", true);
  object.put("emptiedTrash", counted.emptiedTrash)
      .put("failures", counted.outcome.failures)
      .put("freedBytes", counted.freedBytes)
      .put("receipts", counted.outcome.receipts);
  if (!counted.unmeasured.empty()) object.put("unmeasured", counted.unmeasured);
  object.close();
}

}  // namespace tidra
