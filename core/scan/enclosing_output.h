// Output folders around a path. What lies in one is a part of it, such as a bundled package or a fetched dependency,
// and no build there makes it again.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "core/platform/path_resolver.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/ignore_rules.h"

namespace tidra {

/// Caches folders and ignore files; not thread-safe. Paths are absolute, with symbolic links resolved.
class EnclosingOutput {
 public:
  explicit EnclosingOutput(const TidraPathResolver& resolver) : ignored_(resolver) {}

  /// Returns the nearest ancestor that is build output: it has an artefact's name, and holds a tool's mark or lies
  /// beside the manifest that makes it. It is none if it is a project itself, or if it has no mark and its repository
  /// does not ignore it. Needed only when its rule is disabled or the root lies inside.
  std::optional<std::string> around(const std::string& path);

  /// Returns a folder that equals or contains the path and is an artefact beyond doubt: it holds a tool's mark, and
  /// nothing shows that it is a project itself.
  static std::optional<std::string> certainlyHolding(const std::string& path, const TidraPathResolver& resolver);

 private:
  bool isMade(const std::string& folder, const ArtifactMaker& maker);

  IgnoreFinder ignored_;
  std::unordered_map<std::string, bool> folders_;
};

}  // namespace tidra
