#include "core/scan/evidence_gap.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tidra {
namespace {

using Reason = EvidenceGap::Reason;

constexpr std::array reasonTexts{
    std::pair{Reason::noSign, std::string_view{"no sign of a tool"}},
    std::pair{Reason::unnamedPackages, std::string_view{"no file beside it names its packages"}},
    std::pair{Reason::gonePackage, std::string_view{"what it is installed from is gone or lies in it"}},
    std::pair{Reason::strangersManifest, std::string_view{"the manifest belongs to another user"}},
    std::pair{Reason::ownFiles, std::string_view{"holds files that people write"}},
    std::pair{Reason::keepsake, std::string_view{"holds documents or keys"}},
    std::pair{Reason::ownProject, std::string_view{"is a project of its own"}},
    std::pair{Reason::finishedProgram, std::string_view{"is part of a finished program"}},
    std::pair{Reason::tests, std::string_view{"lies below tests"}},
    std::pair{Reason::archive, std::string_view{"has not changed since it was copied or unpacked here"}},
    std::pair{Reason::sharedFolder, std::string_view{"others can rename folders here"}},
    std::pair{Reason::newInGit, std::string_view{"new in git"}},
    std::pair{Reason::unreadIgnoreFile, std::string_view{"an ignore file was not read whole"}},
    std::pair{Reason::unaskedRepository, std::string_view{"lies in a repository that is not asked"}},
    std::pair{Reason::noScript, std::string_view{"no script makes it, or one reads it"}},
    std::pair{Reason::strayRecord, std::string_view{"its tool wrote this for another folder, or not at all"}},
    std::pair{Reason::goneSource, std::string_view{"its source is gone or lies in it"}},
};

}  // namespace

std::string EvidenceGap::text() const {
  const auto* known =
      std::find_if(reasonTexts.begin(), reasonTexts.end(), [&](const auto& row) { return row.first == reason; });
  return std::string(known->second) + (entry.empty() ? "" : ": " + entry);
}

}  // namespace tidra
