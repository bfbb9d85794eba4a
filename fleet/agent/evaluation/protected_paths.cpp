#include "fleet/agent/evaluation/protected_paths.h"

#include <algorithm>

#include "core/base/text.h"

namespace tidra {

namespace {

/// The literal parts of a pattern before its first bracket; none if it has a backslash.
std::vector<std::string_view> literalRuns(std::string_view pattern) {
  if (pattern.find('\\') != std::string_view::npos) return {};
  std::vector<std::string_view> runs;
  pattern = pattern.substr(0, pattern.find('['));
  while (!pattern.empty()) {
    const auto end = std::min(pattern.find_first_of("*?"), pattern.size());
    if (end > 0) runs.push_back(pattern.substr(0, end));
    pattern.remove_prefix(std::min(end + 1, pattern.size()));
  }
  return runs;
}

}  // namespace

ProtectedPaths::Component::Component(std::string_view text) : text_(text) {
  constexpr std::string_view special = "*?[]\\";
  const auto first = text.find_first_of(special);
  if (first == std::string_view::npos) return;
  const auto last = text.find_last_of(special);
  shape_ = first == last && text[first] == '*' ? Shape::oneStar : Shape::general;
  headLength_ = first;
  tailLength_ = text.size() - last - 1;
  pairs_ = PairSet(text.substr(0, headLength_)) | PairSet(text.substr(last + 1));
  for (const std::string_view run : literalRuns(text)) pairs_ = pairs_ | PairSet(run);
}

bool ProtectedPaths::Component::matches(const std::string& name) const {
  if (shape_ == Shape::literal) return name == text_;
  if (shape_ == Shape::oneStar && name.size() < headLength_ + tailLength_) return false;
  const std::string_view text = text_;
  if (!name.starts_with(text.substr(0, headLength_)) || !name.ends_with(text.substr(text.size() - tailLength_))) {
    return false;
  }
  return shape_ == Shape::oneStar || globMatches(text_, name.c_str());
}

ProtectedPaths::ProtectedPaths(const TidraScanExclusionFilter& filter) {
  for (const std::string& folder : filter.pathPrefixes) addFolder(folder);
  for (const std::string& pattern : filter.globPatterns) addPattern(pattern);
}

void ProtectedPaths::addFolder(std::string_view path) {
  Place* place = &root_;
  for (const std::string_view name : splitNonEmpty(path, '/')) {
    auto& child = place->children[name];
    if (!child) child = std::make_unique<Place>();
    place = child.get();
  }
  place->isProtected = true;
}

void ProtectedPaths::addPattern(const std::string& pattern) {
  if (pattern.empty()) return;
  if (!splitsIntoComponents(pattern)) {
    unsplit_.globPatterns.push_back(pattern);
    return;
  }
  Pattern made;
  for (const std::string_view component : split(pattern, '/')) made.components.emplace_back(component);
  // Anchor on the longest name, presumably the rarest.
  std::size_t longest = 0;
  for (std::size_t i = 0; i < made.components.size(); ++i) {
    const Component& component = made.components[i];
    if (!component.isLiteral() || component.text().size() <= longest) continue;
    longest = component.text().size();
    made.anchor = i;
  }
  if (longest == 0 && made.components.size() == 1) {
    looseNames_.push_back(std::move(made.components.front()));
    looseNamePairs_.push_back(looseNames_.back().pairs());
  } else if (longest == 0) {
    loose_.push_back(std::move(made));
  } else {
    anchors_[made.components[made.anchor].text()].push_back(anchored_.size());
    anchored_.push_back(std::move(made));
  }
}

bool ProtectedPaths::cover(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  if (path.empty()) return false;
  setLevels(path);
  // A place at the end of the path is protected or has protected folders below.
  const Level& last = levels_[depth_ - 1];
  return last.isProtected || last.place != nullptr || matchesAnchored();
}

void ProtectedPaths::setLevels(std::string_view path) {
  const std::size_t former = depth_;
  bool isShared = true;
  depth_ = 0;
  for (std::size_t start = 0; start <= path.size();) {
    const auto end = std::min(path.find('/', start), path.size());
    const std::string_view name = path.substr(start, end - start);
    isShared = isShared && depth_ < former && levels_[depth_].name == name;
    if (isShared) {
      ++depth_;
    } else {
      addLevel(name, path.substr(0, end));
    }
    start = end + 1;
  }
}

void ProtectedPaths::addLevel(std::string_view name, std::string_view pathSoFar) {
  if (levels_.size() == depth_) levels_.emplace_back();
  Level& level = levels_[depth_];
  level.name = name;
  if (depth_ == 0) {
    level.place = name.empty() ? &root_ : nullptr;
    level.isProtected = false;
  } else {
    const Level& above = levels_[depth_ - 1];
    const auto* child = above.place == nullptr || name.empty() ? nullptr : above.place->children.find(name);
    level.place = child == nullptr ? nullptr : child->get();
    level.isProtected = above.isProtected;
  }
  ++depth_;
  if (level.isProtected) return;
  level.isProtected =
      (level.place != nullptr && level.place->isProtected) || isLooseName(level.name) ||
      std::any_of(loose_.begin(), loose_.end(), [&](const Pattern& pattern) { return matchesEndingHere(pattern); }) ||
      (!unsplit_.globPatterns.empty() && unsplit_.isExcluded(pathSoFar));
}

bool ProtectedPaths::matchesFrom(const Pattern& pattern, std::size_t first) const {
  for (std::size_t i = 0; i < pattern.components.size(); ++i) {
    if (!pattern.components[i].matches(levels_[first + i].name)) return false;
  }
  return true;
}

bool ProtectedPaths::matchesEndingHere(const Pattern& pattern) const {
  const std::size_t length = pattern.components.size();
  // The text before the first "/" is no name.
  const bool isName = depth_ > 1 || !levels_[0].name.empty();
  return isName && depth_ >= length && matchesFrom(pattern, depth_ - length);
}

bool ProtectedPaths::isLooseName(const std::string& name) const {
  // The text before the first "/" is no name.
  if (name.empty() || looseNames_.empty()) return false;
  const PairSet pairs(name);
  for (std::size_t i = 0; i < looseNames_.size(); ++i) {
    if (pairs.mayHold(looseNamePairs_[i]) && looseNames_[i].matches(name)) return true;
  }
  return false;
}

bool ProtectedPaths::matchesAnchored() const {
  if (anchored_.empty()) return false;
  for (std::size_t i = 0; i < depth_; ++i) {
    if (levels_[i].name.empty()) continue;
    const auto* found = anchors_.find(levels_[i].name);
    if (found == nullptr) continue;
    for (const std::size_t index : *found) {
      const Pattern& pattern = anchored_[index];
      if (i < pattern.anchor) continue;
      const std::size_t first = i - pattern.anchor;
      if (first + pattern.components.size() <= depth_ && matchesFrom(pattern, first)) return true;
    }
  }
  return false;
}

}  // namespace tidra
