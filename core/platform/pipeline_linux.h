// The pipeline that this process is part of, as in `tidra clean | tee log`.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

namespace tidra {

/// Returns the processes of `own`, which are this one and those that started it, and of their pipelines: who reads what
/// they write, who writes what they read, and so on: a script's logger is one, when the script captures what this
/// process prints. Others of the process group are no part of it, such as the background jobs of a script with pipes of
/// their own; neither is who writes to the same pipe, as all programs of a script do whose output is piped.
std::set<std::int64_t> pipelineOf(const std::set<std::int64_t>& own, const std::vector<std::int64_t>& processes);

}  // namespace tidra
