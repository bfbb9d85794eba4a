// Why nothing shows that a tool made an artefact, or that one could bring it back.
#pragma once

#include <string>

namespace tidra {

struct EvidenceGap {
  enum class Reason {
    noSign,
    unnamedPackages,
    gonePackage,
    strangersManifest,
    ownFiles,
    keepsake,
    ownProject,
    finishedProgram,
    tests,
    archive,
    sharedFolder,
    newInGit,
    unreadIgnoreFile,
    unaskedRepository,
    noScript,
    strayRecord,
    goneSource,
  };
  Reason reason = Reason::noSign;
  std::string entry = {};  // in or beside the artefact; empty for none in particular

  /// For display: "holds documents or keys: a.pem".
  std::string text() const;
};

}  // namespace tidra
