// Sparse files may claim more bytes than the figures of a report hold.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Lowers each size to the largest one of a report. Returns a note when the total does not fit a report, naming the
/// largest findings. Throws std::overflow_error, naming them as well, when it does not fit 64 bits.
[[nodiscard]] std::optional<std::string> boundSizes(std::vector<FoundArtifact>& findings,
                                                    const TidraPathResolver& resolver);

}  // namespace tidra
