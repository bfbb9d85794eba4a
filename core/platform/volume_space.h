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

  /// What one of the operating system's queries told; absent where it has no such figure.
  struct Capacities {
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> availableForImportantUsage;
    std::optional<std::int64_t> available;
  };

  /// None when the volume reports no capacity of at least one byte.
  static std::optional<Space> read(const std::string& path);

  /// The choice among the figures of one query: the important-usage figure before the plain one, 0 when both are
  /// missing; none without a positive total.
  static std::optional<Space> choose(const Capacities& capacities);
};

template <>
struct JsonCodec<TidraVolumeSpaceReader::Space> {
  static nlohmann::json encode(const TidraVolumeSpaceReader::Space& space);
  static TidraVolumeSpaceReader::Space decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
