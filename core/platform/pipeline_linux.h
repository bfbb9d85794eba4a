// The pipeline that this process is part of, as in `tidra clean | tee log`.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

namespace tidra {

/// Returns this process and those of its pipeline: who reads what it writes, who writes what it reads, and so on.
/// Others of its process group are no part of it, such as the background jobs of a script with pipes of their own;
/// neither is who writes to the same pipe, as all programs of a script do whose output is piped.
std::set<std::int64_t> pipelineOf(const std::vector<std::int64_t>& processes);

}  // namespace tidra
