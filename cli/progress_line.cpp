#include "cli/progress_line.h"

#include <fmt/format.h>

#include "app/view/duration_text.h"
#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/standard_streams.h"
#include "core/session/removal_pace.h"

namespace tidra {

bool ProgressLine::isDue() {
  constexpr std::chrono::milliseconds redraw{100};
  if (!shown_ || Clock::now() - last_ < redraw) return false;
  last_ = Clock::now();
  return true;
}

void ProgressLine::draw(const std::vector<std::string>& figures, std::string_view path) {
  writeStandardError("\r\x1b[K" + progressText(figures, path, columns_ - 1));
  drawn_ = true;
}

std::string progressText(const std::vector<std::string>& figures, std::string_view path, std::size_t columns) {
  constexpr std::size_t leastPath = 8;
  std::string line;
  for (const std::string& figure : figures) {
    const std::string longer = line.empty() ? figure : fmt::format("{} {} {}", line, glyphs().dot, figure);
    if (displayWidth(longer) > columns) return line.empty() ? fitted(longer, columns) : line;
    line = longer;
  }
  const std::string before = fmt::format("{} {} ", line, glyphs().dot);
  if (path.empty() || displayWidth(before) + leastPath > columns) return line;
  return before + fittedInside(escapedForTerminal(path), columns - displayWidth(before));
}

std::vector<std::string> scanFigures(const ScanProgress& progress, bool apparentSize) {
  const std::uint64_t bytes = apparentSize ? progress.recoverableBytes : progress.freeableBytes;
  return {fmt::format("{} entries", grouped(progress.entriesVisited)),
          counted(progress.artifactsFound, "finding", "findings"), ByteFormatting::readable(signedBytes(bytes))};
}

void ProgressLine::update(const ScanProgress& progress, bool apparentSize) {
  if (isDue()) draw(scanFigures(progress, apparentSize), progress.currentPathDisplay);
}

std::vector<std::string> removalFigures(const CleanupProgress& progress, std::chrono::duration<double> elapsed) {
  std::vector<std::string> figures{
      fmt::format("{} of {}", grouped(progress.itemsDone), counted(progress.items, "item", "items")),
      fmt::format("{}{} of {}", progress.isEstimate ? "about " : "", ByteFormatting::readable(progress.bytesDone),
                  ByteFormatting::readable(progress.bytes))};
  const RemovalPace pace = paceOf(progress, elapsed);
  if (pace.secondsLeft) figures.push_back(timeLeftText(*pace.secondsLeft));
  if (progress.entriesRemoved > 0) figures.push_back(counted(progress.entriesRemoved, "entry", "entries"));
  if (pace.bytesPerSecond > 0) {
    figures.push_back(fmt::format("{}/s", ByteFormatting::readable(static_cast<std::int64_t>(pace.bytesPerSecond))));
  }
  return figures;
}

void ProgressLine::update(const CleanupProgress& progress) {
  if (removingSince_ == Clock::time_point{}) removingSince_ = Clock::now();
  if (!isDue()) return;
  draw(removalFigures(progress, Clock::now() - removingSince_), progress.currentPath);
}

void ProgressLine::erase() {
  if (!drawn_) return;
  writeStandardError("\r\x1b[K");
  drawn_ = false;
}

}  // namespace tidra
