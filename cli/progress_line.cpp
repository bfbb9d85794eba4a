#include "cli/progress_line.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/standard_streams.h"

namespace tidra {

bool ProgressLine::isDue() {
  constexpr std::chrono::milliseconds redraw{90};
  if (!shown_ || Clock::now() - last_ < redraw) return false;
  last_ = Clock::now();
  return true;
}

void ProgressLine::draw(const std::string& line) {
  writeStandardError("\r\x1b[K" + fitted(line, columns_ - 1));
  drawn_ = true;
}

void ProgressLine::update(const ScanProgress& progress) {
  if (!isDue()) return;
  draw(fmt::format("{} entries · {} · {} · {}", grouped(progress.entriesVisited),
                   counted(progress.artifactsFound, "finding", "findings"),
                   ByteFormatting::compact(signedBytes(progress.recoverableBytes)),
                   escapedForTerminal(progress.currentPathDisplay)));
}

void ProgressLine::update(const CleanupProgress& progress) {
  if (!isDue()) return;
  draw(fmt::format("{} of {} · {}{} of {} · {}", grouped(progress.itemsDone), counted(progress.items, "item", "items"),
                   progress.isEstimate ? "about " : "", ByteFormatting::compact(progress.bytesDone),
                   ByteFormatting::compact(progress.bytes), escapedForTerminal(progress.currentPath)));
}

void ProgressLine::erase() {
  if (!drawn_) return;
  writeStandardError("\r\x1b[K");
  drawn_ = false;
}

}  // namespace tidra
