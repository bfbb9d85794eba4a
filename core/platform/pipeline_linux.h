// The pipeline that this process is part of, as in `tidra clean | tee log`.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

namespace tidra {

/// Returns `own` (this process and its ancestors) and every process that a pipe connects to them: readers of their
/// output and writers of their input, transitively, such as the logger of a script. Excludes other members of the
/// process group with pipes of their own, and processes that merely write to the same pipe.
std::set<std::int64_t> pipelineOf(const std::set<std::int64_t>& own, const std::vector<std::int64_t>& processes);

}  // namespace tidra
