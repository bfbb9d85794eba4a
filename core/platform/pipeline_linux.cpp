#include "core/platform/pipeline_linux.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "core/platform/files.h"

namespace tidra {
namespace {

using Streams = std::vector<const char*>;

/// Returns the pipes among the standard streams of a process.
std::set<std::string> pipesAt(std::int64_t process, const Streams& streams) {
  std::set<std::string> pipes;
  for (const char* stream : streams) {
    auto target = linkTarget(fmt::format("/proc/{}/{}", process, stream));
    if (target && target->starts_with("pipe:")) pipes.insert(std::move(*target));
  }
  return pipes;
}

/// Adds the processes that have at `theirs` the other end of a pipe that one of `own`, or one added before, has at
/// `ours`.
void addNeighbours(std::set<std::int64_t>& members, const std::set<std::int64_t>& own,
                   const std::vector<std::int64_t>& processes, const Streams& ours, const Streams& theirs) {
  std::set<std::string> pipes;
  for (const auto process : own) pipes.merge(pipesAt(process, ours));
  for (bool grows = !pipes.empty(); grows;) {
    grows = false;
    for (const auto process : processes) {
      if (members.contains(process)) continue;
      const auto ends = pipesAt(process, theirs);
      if (std::none_of(ends.begin(), ends.end(), [&](const auto& end) { return pipes.contains(end); })) continue;
      members.insert(process);
      pipes.merge(pipesAt(process, ours));
      grows = true;
    }
  }
}

}  // namespace

std::set<std::int64_t> pipelineOf(const std::set<std::int64_t>& own, const std::vector<std::int64_t>& processes) {
  const Streams in{"fd/0"};
  const Streams out{"fd/1", "fd/2"};
  std::set<std::int64_t> members = own;
  addNeighbours(members, own, processes, out, in);
  addNeighbours(members, own, processes, in, out);
  return members;
}

}  // namespace tidra
