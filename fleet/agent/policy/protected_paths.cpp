#include "fleet/agent/policy/protected_paths.h"

#include <algorithm>

#include "core/base/text.h"

namespace tidra {

namespace {

/// The longest run of bytes that stand for themselves: surely outside "[…]", and not beside a backslash.
std::string_view longestRun(std::string_view text) {
  if (text.find('\\') != std::string_view::npos) return {};
  const auto bracket = text.find('[');
  text = text.substr(0, bracket);
  std::string_view longest;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("*?"), text.size());
    if (end > longest.size()) longest = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return longest;
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
  needle_ = longestRun(text);
}

bool ProtectedPaths::Component::matches(const std::string& name) const {
  if (shape_ == Shape::literal) return name == text_;
  if (shape_ == Shape::oneStar && name.size() < headLength_ + tailLength_) return false;
  const std::string_view text = text_;
  if (!name.starts_with(text.substr(0, headLength_)) || !name.ends_with(text.substr(text.size() - tailLength_))) {
    return false;
  }
  return shape_ == Shape::oneStar || (name.find(needle_) != std::string::npos && globMatches(text_, name.c_str()));
}

std::optional<unsigned char> ProtectedPaths::Component::lastByte() const {
  if (shape_ == Shape::literal || tailLength_ == 0) return std::nullopt;
  return static_cast<unsigned char>(text_.back());
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
  // The longest name is the rarest one.
  std::size_t longest = 0;
  for (std::size_t i = 0; i < made.components.size(); ++i) {
    const Component& component = made.components[i];
    if (!component.isLiteral() || component.text().size() <= longest) continue;
    longest = component.text().size();
    made.anchor = i;
  }
  if (longest == 0 && made.components.size() == 1) {
    const auto last = made.components.front().lastByte();
    (last ? looseByLastByte_[*last] : looseNames_).push_back(std::move(made.components.front()));
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
  // A place at the end of the path is a protected folder or holds one.
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
  // What stands before the first "/" is no name.
  const bool isName = depth_ > 1 || !levels_[0].name.empty();
  return isName && depth_ >= length && matchesFrom(pattern, depth_ - length);
}

bool ProtectedPaths::isLooseName(const std::string& name) {
  // What stands before the first "/" is no name.
  if (name.empty()) return false;
  const auto matches = [&](const Component& component) { return component.matches(name); };
  const auto& ending = looseByLastByte_[static_cast<unsigned char>(name.back())];
  if (std::any_of(ending.begin(), ending.end(), matches)) return true;
  if (looseNames_.empty()) return false;
  if (const bool* known = knownNames_.find(name)) return *known;
  return knownNames_[name] = std::any_of(looseNames_.begin(), looseNames_.end(), matches);
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
