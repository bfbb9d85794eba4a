#include "cli/progress_line.h"

#include <fmt/format.h>

#include <cstdio>

#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {

void ProgressLine::update(const ScanProgress& progress) {
  constexpr std::chrono::milliseconds redraw{90};
  if (!shown_ || Clock::now() - last_ < redraw) return;
  last_ = Clock::now();
  const std::string counts = fmt::format("{} entries · {} · {} · ", grouped(progress.entriesVisited),
                                         counted(progress.artifactsFound, "finding", "findings"),
                                         ByteFormatting::compact(static_cast<std::int64_t>(progress.recoverableBytes)));
  const std::string line = counts + escapedForTerminal(progress.currentPathDisplay);
  fmt::print(stderr, "\r\x1b[K{}", fitted(line, columns_ - 1));
  std::fflush(stderr);
  drawn_ = true;
}

void ProgressLine::erase() {
  if (!drawn_) return;
  fmt::print(stderr, "\r\x1b[K");
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace tidra
