#include "app/view/exclusions_view.h"

#include <algorithm>
#include <utility>

#include "core/base/errors.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

class LeftOut {
 public:
  LeftOut(const std::vector<ExclusionEntry>& entries, const TidraPathResolver& resolver)
      : filter_(withLinksResolved(makeExclusionFilter(entries, resolver))) {}

  bool operator()(const std::string& path) const {
    if (isToolBackedTarget(path)) return false;
    return filter_.isExcluded(path) ||
           std::any_of(filter_.pathPrefixes.begin(), filter_.pathPrefixes.end(),
                       [&](const std::string& place) { return isSameOrInside(place, path); });
  }

 private:
  TidraScanExclusionFilter filter_;
};

}  // namespace

ExclusionsView::Added ExclusionsView::add(TypedExclusion typed, TimePoint now) {
  Added added;
  added.isNew = store_.add(typed.text, typed.kind, now);
  added.note = typed.note.value_or("");
  reload();
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const ExclusionEntry& each) { return each.pathDisplay == typed.text; });
  if (entry != entries_.end()) added.entry = *entry;
  return added;
}

ExclusionsView::Added ExclusionsView::addTyped(const std::string& text, TimePoint now) {
  const std::string_view given = trimmed(text);
  if (given.empty()) throw InputError("Type a folder, or a pattern with * or ?.");
  return add(TypedExclusion::read(std::string(given), resolver_, std::nullopt), now);
}

ExclusionsView::Added ExclusionsView::addFolder(const std::string& path, TimePoint now) {
  return add({.text = resolver_.displayPath(path), .kind = ExclusionRowKind::path, .note = {}}, now);
}

bool ExclusionsView::remove(const ExclusionEntry& entry) {
  const bool wasThere = store_.remove(entry.pathDisplay);
  reload();
  return wasThere;
}

ExclusionsView::Effect ExclusionsView::effectOf(const std::string& text, const ResultsView& results) const {
  const std::string given(trimmed(text));
  Effect effect;
  if (given.empty()) return effect;
  const auto typed = TypedExclusion::read(given, resolver_, std::nullopt);
  const LeftOut isLeftOut({{.id = {}, .pathDisplay = typed.text, .kind = typed.kind}}, resolver_);
  for (std::size_t i = 0; i < results.size(); ++i) {
    const ResultRow& row = results.row(i);
    if (!isLeftOut(row.path)) continue;
    ++effect.rows;
    effect.freeableBytes = saturatedSum(effect.freeableBytes, row.freeableBytes);
  }
  return effect;
}

bool ExclusionsView::eraseExcluded(std::set<std::string>& paths) const {
  return std::erase_if(paths, LeftOut(entries_, resolver_)) > 0;
}

}  // namespace tidra
