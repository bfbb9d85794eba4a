#include "core/scan/walk_filter.h"

#include <algorithm>

#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_use.h"

namespace tidra {
namespace {

bool isLiteral(std::string_view pattern) { return !isGlob(pattern) && pattern.find('\\') == std::string_view::npos; }

/// Returns at most `most` last components of a folder's path, nearest first. An absolute path ends with an empty
/// component (before its first "/"), so that "/a" matches only there, and "*/a" can, too. `spelling` replaces the
/// path of the first folder, if any.
std::vector<std::string_view> tailOf(const FolderNode& folder, const std::string* spelling, std::size_t most) {
  std::vector<std::string_view> tail;
  const FolderNode* node = &folder;
  for (; node->parent() != nullptr && tail.size() < most; node = node->parent()) tail.push_back(node->name());
  if (node->parent() != nullptr) return tail;
  const auto above = splitNonEmpty(spelling == nullptr ? node->name() : *spelling, '/');
  for (auto component = above.rbegin(); component != above.rend(); ++component) tail.push_back(*component);
  tail.emplace_back();
  tail.resize(std::min(tail.size(), most));
  return tail;
}

const FolderNode& firstFolderOf(const FolderNode& folder) {
  const FolderNode* node = &folder;
  while (node->parent() != nullptr) node = node->parent();
  return *node;
}

}  // namespace

WalkFilter::Place& WalkFilter::makePlace(std::string_view path) {
  Place* place = &root_;
  for (const std::string_view component : splitNonEmpty(path, '/')) {
    auto& child = place->children[component];
    if (!child) child = std::make_unique<Place>();
    place = child.get();
  }
  return *place;
}

void WalkFilter::addPrefix(std::string_view path) {
  reference_.pathPrefixes.emplace_back(path);
  makePlace(path).barred = true;
}

WalkFilter::Place& WalkFilter::makeKeptPlace(std::string_view path) {
  Place* place = &root_;
  for (const std::string_view component : splitNonEmpty(path, '/')) {
    place->leadsToKept = true;
    auto& child = place->children[component];
    if (!child) child = std::make_unique<Place>();
    place = child.get();
  }
  return *place;
}

void WalkFilter::addExcluded(std::string_view path) {
  addPrefix(path);
  makeKeptPlace(path).excluded = true;
}

void WalkFilter::addExclusions(const TidraScanExclusionFilter& filter) {
  for (const std::string& prefix : filter.pathPrefixes) addExcluded(prefix);
  for (const std::string& pattern : filter.globPatterns) addPattern(pattern);
}

void WalkFilter::addKept(const std::string& pattern) {
  if (!kept_) {
    kept_ = std::make_unique<WalkFilter>();
    kept_->spellings_ = spellings_;
  }
  kept_->addPattern(pattern);
}

void WalkFilter::addSpelling(const std::string& walked, const std::string& real) {
  if (walked == real) return;
  spellings_.emplace(walked, real);
  if (kept_) kept_->addSpelling(walked, real);
}

const std::string* WalkFilter::spellingOf(const FolderNode& folder) const {
  if (spellings_.empty()) return nullptr;
  const auto known = spellings_.find(firstFolderOf(folder).name());
  return known == spellings_.end() ? nullptr : &known->second;
}

void WalkFilter::addStore(const Store& store) {
  addPrefix(store.path);
  makeKeptPlace(store.path).store = store.kind;
}

void WalkFilter::addMount(std::string_view path) { makePlace(path).mounted = true; }

void WalkFilter::addPattern(const std::string& pattern) {
  if (pattern.empty()) return;
  reference_.globPatterns.push_back(pattern);
  if (!splitsIntoComponents(pattern)) {
    unsplit_.globPatterns.push_back(pattern);
  } else if (pattern.find('/') == std::string::npos) {
    if (isLiteral(pattern)) {
      names_[pattern];
    } else {
      nameGlobs_.push_back(pattern);
    }
  } else {
    LongPattern components;
    for (const std::string_view component : split(pattern, '/')) components.emplace_back(component);
    mostComponents_ = std::max(mostComponents_, components.size());
    longPatterns_.push_back(std::move(components));
  }
}

void WalkFilter::add(const TidraScanExclusionFilter& filter) {
  if (filter.use) watch(filter.use);
  for (const std::string& prefix : filter.pathPrefixes) addPrefix(prefix);
  for (const std::string& pattern : filter.globPatterns) addPattern(pattern);
}

bool WalkFilter::bars(std::string_view path) const {
  const bool isBarred = barsUnwatched(path);
  if (isBarred && use_ && use_->isPending()) use_->note(std::string(path));
  return isBarred;
}

bool WalkFilter::barsUnwatched(std::string_view path) const {
  return barsAncestors(path) || std::any_of(spellings_.begin(), spellings_.end(), [&](const auto& spelling) {
           return isSameOrInside(path, spelling.first) &&
                  barsAncestors(joinedPath(spelling.second, pathBelow(path, spelling.first)));
         });
}

bool WalkFilter::barsAncestors(std::string_view path) const {
  for (std::string ancestor(path);; ancestor = parentPath(ancestor)) {
    if (reference_.isExcluded(ancestor)) return true;
    if (ancestor == "/") return false;
  }
}

const WalkFilter::Place* WalkFilter::placeOf(std::string_view path) const {
  const Place* place = &root_;
  for (const std::string_view component : splitNonEmpty(path, '/')) place = childPlace(place, component);
  return place;
}

const WalkFilter::Place* WalkFilter::childPlace(const Place* place, std::string_view name) {
  if (place == nullptr) return nullptr;
  const auto* child = place->children.find(name);
  return child == nullptr ? nullptr : child->get();
}

FolderFilter::FolderFilter(const WalkFilter& filter, const WalkFilter::Place* place, const FolderNode& folder)
    : filter_(filter), place_(place), folder_(folder) {
  if (filter.longPatterns_.empty() && filter.unsplit_.globPatterns.empty()) return;
  otherSpelling_ = filter.spellingOf(folder);
  matchTail(nullptr);
  if (otherSpelling_ != nullptr) matchTail(otherSpelling_);
}

void FolderFilter::matchTail(const std::string* spelling) {
  const auto tail = tailOf(folder_, spelling, filter_.mostComponents_);
  for (const auto& pattern : filter_.longPatterns_) {
    const std::size_t above = pattern.size() - 1;
    if (tail.size() < above) continue;
    bool matches = true;
    for (std::size_t i = 0; i < above && matches; ++i) {
      matches = globMatches(pattern[above - 1 - i], std::string(tail[i]).c_str());
    }
    if (matches) lastComponents_.push_back(&pattern.back());
  }
}

bool FolderFilter::bars(std::string_view name) const {
  const bool isBarred = barsUnwatched(name);
  if (isBarred) report(name);
  return isBarred;
}

bool FolderFilter::barsUnwatched(std::string_view name) const {
  if (place_ != nullptr) {
    const auto* child = WalkFilter::childPlace(place_, name);
    if (child != nullptr && child->barred) return true;
  }
  return matchesName(name) || matchesLongPattern(name);
}

bool FolderFilter::barsByName(std::string_view name) const {
  const bool isBarred = matchesName(name);
  if (isBarred) report(name);
  return isBarred;
}

bool FolderFilter::matchesName(std::string_view name) const {
  if (filter_.names_.find(name) != nullptr) return true;
  const auto matches = [&](const std::string& pattern) { return globMatches(pattern, name.data()); };
  return std::any_of(filter_.nameGlobs_.begin(), filter_.nameGlobs_.end(), matches);
}

bool FolderFilter::keeps(std::string_view name) const {
  const auto* child = WalkFilter::childPlace(place_, name);
  const bool isKept = (child != nullptr && child->excluded) || matchesLongPattern(name);
  if (isKept) report(name);
  return isKept;
}

void FolderFilter::report(std::string_view name) const {
  if (!filter_.use_ || !filter_.use_->isPending()) return;
  filter_.use_->note(joinedPath(path(), name));
  const std::string* other = filter_.spellingOf(folder_);
  if (other == nullptr) return;
  const std::string below(pathBelow(path(), firstFolderOf(folder_).name()));
  filter_.use_->note(joinedPath(below.empty() ? *other : joinedPath(*other, below), name));
}

bool FolderFilter::matchesLongPattern(std::string_view name) const {
  const auto matches = [&](const std::string* last) { return globMatches(*last, name.data()); };
  if (std::any_of(lastComponents_.begin(), lastComponents_.end(), matches)) return true;
  return !filter_.unsplit_.globPatterns.empty() && matchesUnsplit(name);
}

bool FolderFilter::matchesUnsplit(std::string_view name) const {
  if (filter_.unsplit_.isExcluded(joinedPath(path(), name))) return true;
  if (otherSpelling_ == nullptr) return false;
  const std::string below(pathBelow(path(), firstFolderOf(folder_).name()));
  return filter_.unsplit_.isExcluded(joinedPath(joinedPath(*otherSpelling_, below), name));
}

const std::string& FolderFilter::path() const {
  if (path_.empty()) path_ = folder_.path();
  return path_;
}

}  // namespace tidra
