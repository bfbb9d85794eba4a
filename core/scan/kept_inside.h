// An entry that must stay, and therefore the folder that contains it.
#pragma once

#include <string>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/stores.h"

namespace tidra {

struct KeptInside {
  enum class Why {
    excluded,
    neverRemoved,
    neverRemovedItself,
    trash,
    quarantine,
    keepFile,
    unreadable,
    ofRoot,
    ofOthers
  };

  static constexpr const char* keepFile = ".tidra-keep";

  std::string path;  // absolute path of the entry that must stay
  Why why = Why::excluded;

  static KeptInside store(std::string path, StoreKind kind) {
    return {std::move(path), kind == StoreKind::trash ? Why::trash : Why::quarantine};
  }

  /// Returns the rest of a sentence after the folder's path: "holds ~/p/build/keep, which is excluded",
  /// "is kept by ~/p/build/x/.tidra-keep".
  std::string reason(const TidraPathResolver& resolver) const;

  bool operator==(const KeptInside&) const = default;
};

/// A finding left out because of what it contains.
struct WithheldFinding {
  std::string path;
  KeptInside kept;

  bool operator==(const WithheldFinding&) const = default;
};

}  // namespace tidra
