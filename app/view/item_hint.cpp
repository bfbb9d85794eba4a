#include "app/view/item_hint.h"

#include <fmt/format.h>

#include <string_view>

#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// The kind follows from where the item lies: hints of projects and of caches of packages name what fills them again,
/// those of other programs only say what the program does next.
ItemHint::Kind kindOf(std::string_view path, ArtifactSafetyTier tier, ArtifactSource source,
                      std::string_view category) {
  if (RemovalLeftover::isEither(lastPathComponent(path))) return ItemHint::Kind::plain;
  if (tier != ArtifactSafetyTier::safe) return ItemHint::Kind::careful;
  const bool isRefilled = source != ArtifactSource::systemProbe || category == "globalCaches";
  return isRefilled ? ItemHint::Kind::wayBack : ItemHint::Kind::afterwards;
}

std::string pipHint(std::string_view restoreHint) {
  constexpr std::string_view before = "pip install to restore: ";
  if (restoreHint.starts_with(before)) restoreHint.remove_prefix(before.size());
  return fmt::format("empties pip's download cache; the packages stay until pip uninstall removes them: {}",
                     restoreHint);
}

/// What decides a hint.
struct Hinted {
  std::string_view path;
  ArtifactSafetyTier tier;
  ArtifactSource source;
  std::string_view category;
  const std::optional<std::string>& ruleID;
};

std::optional<ItemHint> makeHint(const Hinted& item, const std::optional<std::string>& restoreHint) {
  if (!restoreHint) return std::nullopt;
  const ItemHint::Kind kind = kindOf(item.path, item.tier, item.source, item.category);
  // The hint names the packages, which stay: their environment's pip empties its download cache.
  if (item.source == ArtifactSource::pipCLI) return ItemHint{ItemHint::Kind::plain, pipHint(*restoreHint)};
  // The catalog's hint of this rule is the command that empties the cache.
  if (item.ruleID == "npm-cache") return ItemHint{kind, "npm install downloads the packages again"};
  return ItemHint{kind, *restoreHint};
}

}  // namespace

std::string ItemHint::sentenceOf(Kind kind, std::string_view text) {
  switch (kind) {
    case Kind::wayBack:
      return fmt::format("to get it back: {}", text);
    case Kind::afterwards:
      return fmt::format("afterwards: {}", text);
    case Kind::careful:
      return fmt::format("careful: {}", text);
    case Kind::plain:
      break;
  }
  return std::string(text);
}

std::optional<ItemHint> hintOf(const CleanupPlan::Item& item, const std::optional<std::string>& restoreHint) {
  return makeHint({item.path, item.tier, item.source, item.category, item.ruleID}, restoreHint);
}

std::optional<ItemHint> hintOf(const ScanReportItem& item) {
  return makeHint({item.path, item.tier, item.source, item.category, item.ruleID}, item.restoreHint);
}

std::optional<ItemHint> hintOf(const FoundArtifact& found) {
  const ScanArtifactFinding& finding = found.finding;
  return makeHint({finding.path, finding.safetyTier, finding.source, found.category, finding.ruleID},
                  finding.restoreHint);
}

}  // namespace tidra
