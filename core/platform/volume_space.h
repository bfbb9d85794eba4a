// The capacity of the volume that holds a path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/json_codec.h"

namespace tidra {

struct TidraVolumeSpaceReader {
  struct Space {
    std::int64_t totalBytes = 0;
    std::int64_t availableBytes = 0;  // to the running user

    bool operator==(const Space&) const = default;
  };

  /// One query's figures; absent where the system does not report one.
  struct Capacities {
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> availableForImportantUsage;
    std::optional<std::int64_t> available;
  };

  /// Returns nullopt when the volume reports no capacity of at least one byte.
  static std::optional<Space> read(const std::string& path);

  /// Prefers the important-usage figure over the plain one; 0 when both are missing. nullopt without a positive total.
  static std::optional<Space> choose(const Capacities& capacities);
};

extern template struct RecordCodec<TidraVolumeSpaceReader::Space>;
template <>
struct JsonCodec<TidraVolumeSpaceReader::Space> : RecordCodec<TidraVolumeSpaceReader::Space> {};

}  // namespace tidra
