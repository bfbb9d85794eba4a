#include "core/platform/volume_space.h"

#include "core/base/record_fields.h"

namespace tidra {

std::optional<TidraVolumeSpaceReader::Space> TidraVolumeSpaceReader::choose(const Capacities& capacities) {
  if (!capacities.total || *capacities.total < 1) return std::nullopt;
  const auto available =
      capacities.availableForImportantUsage ? capacities.availableForImportantUsage : capacities.available;
  return Space{*capacities.total, available.value_or(0)};
}

template <>
constexpr auto fieldsOf<TidraVolumeSpaceReader::Space> =
    recordFields(field("totalBytes", &TidraVolumeSpaceReader::Space::totalBytes),
                 field("availableBytes", &TidraVolumeSpaceReader::Space::availableBytes));

template struct RecordCodec<TidraVolumeSpaceReader::Space>;

}  // namespace tidra
