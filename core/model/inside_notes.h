// What measuring notes about the contents of a folder, besides repositories and what must stay.
#pragma once

#include <optional>
#include <string>

#include "core/model/scan_vocabulary.h"

namespace tidra {

/// Paths are relative to the measured folder; "…" stands for one of more than 4096 bytes.
struct InsideNotes {
  /// A folder that a rule puts above tier safe.
  struct Ranked {
    std::string path;
    std::string label;  // of the rule
    ArtifactSafetyTier tier = ArtifactSafetyTier::safe;

    bool operator==(const Ranked&) const = default;
  };

  std::optional<Ranked> ranked = {};         // the one of the highest tier, of these the first in byte order
  std::optional<std::string> ofOthers = {};  // the first entry of a user other than root and the folder's owner

  bool operator==(const InsideNotes&) const = default;
};

}  // namespace tidra
