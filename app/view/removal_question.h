// The sentences that ask before a removal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/model/disposal.h"

namespace tidra {

/// Tools have neither trash nor quarantine: their items are listed, asked about and reported apart.
enum class Remover { tidra, tool };
Remover removerOf(std::string_view path);

/// "docker and conda", in the order of the items.
std::string toolNames(const std::vector<std::string_view>& paths);

/// How many of the items are environments whose pip empties its download cache, and removes nothing else.
std::size_t countOfPip(const std::vector<std::string_view>& paths);

/// "Move 3 items (1.2 GB) to the trash?" `paths` are the items of one remover, `bytes` their size as it is shown.
std::string planQuestion(const std::vector<std::string_view>& paths, std::int64_t bytes, DisposalMethod method,
                         Remover remover);

/// What is in the trash besides, and goes when it is emptied. Absent counts: only the Finder knows.
struct TrashContents {
  std::optional<std::size_t> entries = 0;
  std::int64_t bytes = 0;

  bool operator==(const TrashContents&) const = default;
};

/// What is added to the question about `moved` items that go to the trash, which is emptied then; 0: they go elsewhere.
std::string emptyingRemark(const TrashContents& besides, std::size_t moved);

}  // namespace tidra
