#include "cli/progress_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/standard_streams.h"

namespace tidra {

void ProgressLine::update(const ScanProgress& progress) {
  constexpr std::chrono::milliseconds redraw{90};
  if (!shown_ || Clock::now() - last_ < redraw) return;
  last_ = Clock::now();
  constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
  const auto bytes = std::min(progress.recoverableBytes, most);
  const std::string counts = fmt::format("{} entries · {} · {} · ", grouped(progress.entriesVisited),
                                         counted(progress.artifactsFound, "finding", "findings"),
                                         ByteFormatting::compact(static_cast<std::int64_t>(bytes)));
  const std::string line = counts + escapedForTerminal(progress.currentPathDisplay);
  writeStandardError("\r\x1b[K" + fitted(line, columns_ - 1));
  drawn_ = true;
}

void ProgressLine::erase() {
  if (!drawn_) return;
  writeStandardError("\r\x1b[K");
  drawn_ = false;
}

}  // namespace tidra
