// A scan report as text for a person.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/view/scan_marks.h"
#include "cli/shown_sizes.h"
#include "cli/terminal.h"
#include "core/base/enum_table.h"
#include "core/base/text.h"
#include "core/model/scan_report.h"

namespace tidra {

enum class ScanSort { size, path, age };

template <>
struct EnumTable<ScanSort> {
  static constexpr std::string_view name = "order";
  static constexpr std::array rows{
      EnumRow<ScanSort>{ScanSort::size, "size"},
      EnumRow<ScanSort>{ScanSort::path, "path"},
      EnumRow<ScanSort>{ScanSort::age, "age"},
  };
};

struct ScanViewOptions {
  TerminalFacts terminal;  // of the output stream; a pipe gets complete, uncut lines
  ScanSort sort = ScanSort::size;
  bool isEarlierScan = false;             // print the time of the scan instead of its duration
  std::optional<std::size_t> limit;       // projects to show, 0 for all; absent: what fits a screen, all in a pipe
  bool apparentSize = false;              // show logical sizes instead of what removing frees
  std::vector<std::string> filters = {};  // what leaves findings out: "--older-than (2 artefacts left out)"
};

/// A scan as it is shown.
struct ScanPicture {
  const ScanReport& report;
  ShownSizes sizes;
  std::vector<ItemMark> marks;  // of the report's items
  bool isUpperBound = false;    // file systems may share extents: removing may free less
};

/// The report by project, totals by ecosystem and by tier, and the sums of what goes, stays and is left to review.
std::string scanText(const ScanPicture& picture, const ScanViewOptions& options);

/// True when `a` is before `b`; unknown dates come last.
bool isOlder(const std::optional<TimePoint>& a, const std::optional<TimePoint>& b);

/// "8 mo", "3 d" or "today"; "–" when unknown.
std::string shortAge(const std::optional<TimePoint>& lastActivity, TimePoint now);

}  // namespace tidra
