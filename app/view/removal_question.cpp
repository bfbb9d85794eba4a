#include "app/view/removal_question.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/model/byte_formatting.h"
#include "core/model/scan_artifact_finding.h"

namespace tidra {

Remover removerOf(std::string_view path) { return isToolBackedTarget(path) ? Remover::tool : Remover::tidra; }

std::string toolNames(const std::vector<std::string_view>& paths) {
  std::vector<std::string> names;
  for (const std::string_view path : paths) {
    const std::string name(ToolTargets::toolOf(path));
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  return joinedWithAnd(std::move(names));
}

std::size_t countOfPip(const std::vector<std::string_view>& paths) {
  return static_cast<std::size_t>(std::count_if(
      paths.begin(), paths.end(), [](std::string_view path) { return path.starts_with(pipTargetPrefix); }));
}

std::string planQuestion(const std::vector<std::string_view>& paths, std::int64_t bytes, DisposalMethod method,
                         Remover remover) {
  const std::string items = counted(paths.size(), "item", "items");
  const std::string size = ByteFormatting::readable(bytes);
  if (remover == Remover::tool) {
    const std::size_t ofPip = countOfPip(paths);
    if (ofPip == paths.size()) return "Have pip empty its download cache? The unused packages stay.";
    return fmt::format("Have {} remove {} (about {}) at once and for good?{}", toolNames(paths), items, size,
                       ofPip > 0 ? " pip empties its download cache only; the unused packages stay." : "");
  }
  switch (method) {
    case DisposalMethod::trash:
      return fmt::format("Move {} ({}) to the trash?", items, size);
    case DisposalMethod::quarantine:
      return fmt::format("Move {} ({}) into quarantine?", items, size);
    case DisposalMethod::delete_:
      break;
  }
  return fmt::format("Delete {} ({}) for good?", items, size);
}

std::string emptyingRemark(const TrashContents& besides, std::size_t moved) {
  const std::string way = moved == 0   ? " The trash is emptied afterwards"
                          : moved == 1 ? " It goes through the trash, which is emptied"
                                       : " They go through the trash, which is emptied";
  if (!besides.entries) return way + ": everything in it is deleted for good.";
  if (*besides.entries == 0) return way + "; nothing else is in it.";
  return fmt::format("{}: what is in it now ({}, {}) is deleted for good, too.", way,
                     counted(*besides.entries, "entry", "entries"), ByteFormatting::readable(besides.bytes));
}

}  // namespace tidra
