// Rows and lists of results, and how a list reads.
#pragma once

#include <fmt/format.h>

#include <memory>
#include <string>

#include "app/view/results_view.h"
#include "core/model/stable_id.h"

namespace tidra {

inline RowID idOf(std::string_view path) { return StableID::number(path); }

/// "/code/shop/dist" lies in the project /code/shop, named "shop"; known to go.
inline ResultRow rowAt(const std::string& path, std::int64_t bytes, ItemMark::Kind kind = ItemMark::Kind::goes) {
  ResultRow row;
  const std::string project = path.substr(0, path.rfind('/'));
  row.id = idOf(path);
  row.path = path;
  row.label = SharedText(path.substr(path.rfind('/') + 1));
  row.group = SharedText(project);
  row.groupName = SharedText(project.substr(project.rfind('/') + 1));
  row.ecosystem = SharedText("npm");
  row.freeableBytes = bytes;
  row.mark = {kind};
  return row;
}

/// "shop 30: dist 20, build 10 | …"; of a folded group "shop 30:". A flat list has no names.
inline std::string textOf(const ResultsSnapshot& snapshot) {
  std::string text;
  for (std::size_t i = 0; i < snapshot.lines.size(); ++i) {
    const ResultsLine& line = snapshot.lines[i];
    if (line.isHead()) {
      const ResultsGroup& group = snapshot.groups[line.group];
      text += fmt::format("{}{} {}:", i == 0 ? "" : " | ", group.name.view(), group.freeableBytes);
    } else {
      const ResultRow& row = *snapshot.items[line.item];
      text += fmt::format(" {} {}", row.label.view(), row.freeableBytes);
    }
  }
  return text;
}

}  // namespace tidra
