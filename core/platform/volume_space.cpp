#include "core/platform/volume_space.h"

#include "core/base/json_fields.h"

namespace tidra {

std::optional<TidraVolumeSpaceReader::Space> TidraVolumeSpaceReader::choose(const Capacities& capacities) {
  if (!capacities.total || *capacities.total < 1) return std::nullopt;
  const auto available =
      capacities.availableForImportantUsage ? capacities.availableForImportantUsage : capacities.available;
  return Space{*capacities.total, available.value_or(0)};
}

nlohmann::json JsonCodec<TidraVolumeSpaceReader::Space>::encode(const TidraVolumeSpaceReader::Space& space) {
  return {{"totalBytes", space.totalBytes}, {"availableBytes", space.availableBytes}};
}

TidraVolumeSpaceReader::Space JsonCodec<TidraVolumeSpaceReader::Space>::decode(const nlohmann::json& value,
                                                                               const std::string& where) {
  const JsonObjectReader object(value, where);
  return {object.required<std::int64_t>("totalBytes"), object.required<std::int64_t>("availableBytes")};
}

}  // namespace tidra
