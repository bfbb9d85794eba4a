// Decides whether the pip of a virtual environment may be run. It is code of that environment, which may have been
// downloaded.
#pragma once

#include <string>
#include <string_view>

#include "core/scan/git_metadata.h"

namespace tidra {

struct PipTrust {
  /// Whether the environment was apparently created here by this user:
  ///   - the environment, "bin" and "bin/pip" are owned by the user or root and not world-writable;
  ///   - the pip is a script for the environment's own interpreter;
  ///   - "bin/python" and that interpreter resolve to a trusted program outside the environment;
  ///   - git tracks nothing in "bin".
  /// Limitation: an archive unpacked at exactly the path that its author guessed passes.
  static bool mayRun(const std::string& environment, const TidraGitMetadataReader& git);

  /// Returns the absolute interpreter path of a script in either form that pip's installer writes: "#!PATH", or a
  /// shell's "exec" for long paths. Empty for anything else.
  static std::string interpreterOf(std::string_view script);
};

}  // namespace tidra
