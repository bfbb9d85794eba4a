#include "core/model/disposal.h"

#include "core/base/json_fields.h"

namespace tidra {

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
