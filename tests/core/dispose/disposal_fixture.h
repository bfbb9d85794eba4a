// A home folder and a deletion service for tests that move and remove.
#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <variant>

#include "core/dispose/deletion_service.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

/// The home folder is "home" in the tree; quarantine and trash are in their default places there.
class DisposalTest : public testing::Test {
 protected:
  static constexpr TimePoint now{std::chrono::seconds{1773483300}};  // 2026-03-14T10:15:00Z

  DisposalTest() : resolver_{tree_.makeFolder("home"), {{"PATH", "/usr/bin:/bin"}}} {}

  TidraDeletionService service(std::vector<std::string> protectedFolders = {}) const {
    return TidraDeletionService({.resolver = resolver_,
                                 .host = "a-host",
                                 .mounts = mountPoints(),
                                 .protectedFolders = std::move(protectedFolders),
                                 .workers = 0,
                                 .clock = [] { return now; },
                                 .shouldCancel = shouldCancel_,
                                 .finishesItems = false,
                                 .tools = tools_});
  }
  QuarantineConfig config() const { return QuarantineConfig::makeDefault(resolver_); }
  QuarantineDisposer disposer() const { return {config(), resolver_, "a-host", mountPoints()}; }
  FreedesktopTrash trash() const { return {resolver_, mountPoints()}; }

  /// Disposes of one item with a new service.
  TidraDeletionService::Result dispose(const std::string& path, DisposalMethod method, bool dryRun = false) const {
    return service().dispose({path, {}}, method, dryRun, config());
  }
  /// The receipt of a disposal that must succeed.
  DisposalReceipt disposed(const std::string& path, DisposalMethod method, bool dryRun = false) const {
    const auto result = dispose(path, method, dryRun);
    const auto* failure = std::get_if<TidraDeletionFailure>(&result);
    EXPECT_EQ(failure, nullptr) << path << ": " << (failure != nullptr ? failure->message : "");
    return failure != nullptr ? DisposalReceipt{} : std::get<TidraDeletionService::Disposed>(result).receipt;
  }
  /// The message of a disposal that must fail.
  std::string refusal(const std::string& path, DisposalMethod method, bool dryRun = false) const {
    const auto result = dispose(path, method, dryRun);
    const auto* failure = std::get_if<TidraDeletionFailure>(&result);
    return failure != nullptr ? failure->message : "(nothing was refused)";
  }

  /// Expects a refusal with such a message, in a dry run too, and the item in its place.
  template <class Message>
  void expectRefused(const std::string& item, DisposalMethod method, const Message& message) const {
    for (const bool dryRun : {true, false}) EXPECT_THAT(refusal(item, method, dryRun), message) << "dry " << dryRun;
    EXPECT_TRUE(exists(item));
  }
  /// Expects that a store at this place in the tree is not used when it is a file, a link, open or another user's.
  /// `also` is called for each of these, with its message.
  void expectUnusedWhenSpoiled(const std::string& place, DisposalMethod method,
                               const std::function<void(const std::string&)>& also = {}) const {
    const std::string item = tree_.writeFile("home/p/f", "x");
    tree_.makeFolder("else");
    const auto spoil = [&](const std::string& why) {
      if (why == "is not a folder") tree_.writeFile(place);
      if (why == "is a link") tree_.symlink(place, tree_.path("else"));
      if (why == "is open to other users")
        tree_.setMode(place, (tree_.makeFolder(place), method == DisposalMethod::trash ? 0777 : 0750));
      EXPECT_TRUE(why != "belongs to another user" || ::lchown(tree_.makeFolder(place).c_str(), 65534, 0) == 0);
    };
    for (const std::string why :
         {"is not a folder", "is a link", "is open to other users", "belongs to another user"}) {
      if (why == "belongs to another user" && ::geteuid() != 0) continue;
      std::filesystem::remove_all(tree_.path(place));
      spoil(why);
      expectRefused(item, method, testing::HasSubstr(why));
      EXPECT_TRUE(namesIn(tree_.path("else")).empty());
      if (also) also(why);
    }
  }

  QuarantineDisposer::Quarantined quarantine(QuarantineDisposer& disposer, const std::string& path,
                                             TimePoint date = now) const {
    return disposer.quarantine(holdEntry(path), path, 5, date);
  }

  static bool exists(const std::string& path) { return static_cast<bool>(pathFacts(path)); }
  static std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (!exists(folder)) return names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  const TemporaryTree tree_;
  TidraPathResolver resolver_;
  ToolTargets tools_;
  std::function<bool()> shouldCancel_;
};

}  // namespace tidra
