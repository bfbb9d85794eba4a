// Parses the reclaimed space that tools print.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// Returns the bytes that a target's tool reports as reclaimed; absent when it prints none (volumes, environments) or
/// an impossible figure. `output` is untrusted.
std::optional<std::int64_t> reclaimedBytes(const std::string& target, std::string_view output);

}  // namespace tidra
