// Decides whether the pip of a virtual environment may be run. It is code of that environment, which may have been
// downloaded.
#pragma once

#include <string>
#include <string_view>

#include "core/scan/git_metadata.h"

namespace tidra {

struct PipTrust {
  /// True when the environment looks as if this user had made it at this place:
  ///   - the environment, its "bin" and its "bin/pip" belong to the user or root and not everybody may write to them;
  ///   - the pip is a script for the environment's own interpreter;
  ///   - "bin/python" and that interpreter lead out of the environment, to a program that may be trusted;
  ///   - git tracks nothing of its "bin".
  /// An archive that was unpacked at the very place that its maker had guessed passes all the same.
  static bool mayRun(const std::string& environment, const TidraGitMetadataReader& git);

  /// Returns the absolute interpreter path of a script in either form that pip's installer writes: "#!PATH", or a
  /// shell's "exec" for long paths. Empty for anything else.
  static std::string interpreterOf(std::string_view script);
};

}  // namespace tidra
