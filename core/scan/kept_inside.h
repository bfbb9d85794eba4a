// Something inside a folder that must stay, and the folder with it.
#pragma once

#include <string>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/stores.h"

namespace tidra {

struct KeptInside {
  enum class Why { excluded, neverRemoved, trash, quarantine };

  std::string path;  // of what must stay; absolute
  Why why = Why::excluded;

  static KeptInside store(std::string path, StoreKind kind) {
    return {std::move(path), kind == StoreKind::trash ? Why::trash : Why::quarantine};
  }

  /// The rest of a sentence that begins with the folder's path: "holds ~/p/build/keep, which is excluded".
  std::string reason(const TidraPathResolver& resolver) const;

  bool operator==(const KeptInside&) const = default;
};

/// A finding that is left out because of what it holds.
struct WithheldFinding {
  std::string path;
  KeptInside kept;

  bool operator==(const WithheldFinding&) const = default;
};

}  // namespace tidra
