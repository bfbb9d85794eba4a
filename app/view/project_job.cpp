#include "app/view/project_job.h"

#include <utility>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_metadata.h"

namespace tidra {
namespace {

/// By the repository's HEAD; a commit that was checked out without a branch has none.
std::string branchOf(const std::string& repository) {
  const auto folder = gitFolderOf(repository);
  const auto head = folder ? readRegularFile(joinedPath(*folder, "HEAD"), 4_KiB)
                           : std::make_error_code(std::errc::no_such_file_or_directory);
  constexpr std::string_view prefix = "ref: refs/heads/";
  if (!head || !head->starts_with(prefix)) return {};
  return std::string(trimmed(std::string_view(*head).substr(prefix.size())));
}

}  // namespace

ProjectJob::ProjectJob(std::string path, std::optional<std::string> git, TidraPathResolver resolver,
                       std::function<void()> wake)
    : mailbox_(std::move(wake)) {
  thread_ = JoiningThread([this, path = std::move(path), git = std::move(git), resolver = std::move(resolver)] {
    const TidraGitMetadataReader reader(git, resolver, [this] { return isCancelled_.load(); });
    const ProjectGitMetadata metadata = reader.readWithoutSize(path);
    auto facts = std::make_shared<const ProjectFacts>(ProjectFacts{
        .path = path, .branch = branchOf(path), .status = metadata.gitStatusLine, .commit = metadata.commitSubject});
    mailbox_.post([&](std::shared_ptr<const ProjectFacts>& news) { news = std::move(facts); });
  });
}

}  // namespace tidra
