// What tools print about the space that they gave back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// The bytes that the tool of a target reports as reclaimed. Absent when it prints no figure, as for volumes and
/// environments, or one that no machine holds. `output` is foreign text.
std::optional<std::int64_t> reclaimedBytes(const std::string& target, std::string_view output);

}  // namespace tidra
