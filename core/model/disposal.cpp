#include "core/model/disposal.h"

#include "core/base/json_fields.h"
#include "core/base/quantities.h"

namespace tidra {

std::int64_t disposedBytes(const std::vector<DisposalReceipt>& receipts,
                           const std::vector<UnmeasuredSize>& unmeasured) {
  std::int64_t sum = 0;
  for (const DisposalReceipt& receipt : receipts) sum = saturatedSum(sum, receipt.bytes.value_or(0));
  for (const UnmeasuredSize& size : unmeasured) sum = saturatedSum(sum, size.bytes);
  return sum;
}

nlohmann::json outcomeJson(const DisposalOutcome& outcome, const std::vector<UnmeasuredSize>& unmeasured) {
  auto object = JsonCodec<DisposalOutcome>::encode(outcome);
  if (!unmeasured.empty()) object["unmeasured"] = JsonCodec<std::vector<UnmeasuredSize>>::encode(unmeasured);
  return object;
}

nlohmann::json JsonCodec<DisposalReceipt>::encode(const DisposalReceipt& receipt) {
  nlohmann::json object{{"method", rawValue(receipt.method)}, {"at", iso8601(receipt.at)}};
  putBytes(object, "path", receipt.path);
  if (receipt.destination) putBytes(object, "destination", *receipt.destination);
  putOptional(object, "bytes", receipt.bytes);
  return object;
}

DisposalReceipt JsonCodec<DisposalReceipt>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.path = object.requiredBytes("path"),
          .method = object.required<DisposalMethod>("method"),
          .destination = object.optionalBytes("destination"),
          .bytes = object.optional<std::int64_t>("bytes"),
          .at = object.required<TimePoint>("at")};
}

nlohmann::json JsonCodec<TidraDeletionFailure>::encode(const TidraDeletionFailure& failure) {
  nlohmann::json object{{"message", JsonCodec<std::string>::encode(failure.message)}};
  putBytes(object, "path", failure.path);
  return object;
}

TidraDeletionFailure JsonCodec<TidraDeletionFailure>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.path = object.requiredBytes("path"), .message = object.required<std::string>("message")};
}

nlohmann::json JsonCodec<UnmeasuredSize>::encode(const UnmeasuredSize& size) {
  nlohmann::json object{{"bytes", size.bytes}, {"reportedByTool", size.reportedByTool}};
  putBytes(object, "path", size.path);
  return object;
}

nlohmann::json JsonCodec<DisposalOutcome>::encode(const DisposalOutcome& outcome) {
  return {{"receipts", JsonCodec<std::vector<DisposalReceipt>>::encode(outcome.receipts)},
          {"failures", JsonCodec<std::vector<TidraDeletionFailure>>::encode(outcome.failures)}};
}

DisposalOutcome JsonCodec<DisposalOutcome>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.receipts = object.required<std::vector<DisposalReceipt>>("receipts"),
          .failures = object.required<std::vector<TidraDeletionFailure>>("failures")};
}

}  // namespace tidra
