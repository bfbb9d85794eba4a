// The live line on standard error during a scan.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "core/session/cleanup_session.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Prints nothing unless standard error is a terminal. The destructor erases the line.
class ProgressLine {
 public:
  ProgressLine(bool shown, std::size_t columns) : shown_(shown), columns_(columns) {}
  ~ProgressLine() { erase(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Redraws at most about ten times a second.
  void update(const ScanProgress& progress, bool apparentSize);
  void update(const CleanupProgress& progress);
  void erase();

 private:
  using Clock = std::chrono::steady_clock;

  bool isDue();
  void draw(const std::vector<std::string>& figures, std::string_view path);

  bool shown_;
  bool drawn_ = false;
  std::size_t columns_;
  Clock::time_point last_{};
  Clock::time_point removingSince_{};  // of the first removal's progress
};

/// Entries, findings, and their logical size or what removing them frees.
std::vector<std::string> scanFigures(const ScanProgress& progress, bool apparentSize);

/// Items, bytes, entries, and from a second on rate and time left, the most useful first.
std::vector<std::string> removalFigures(const CleanupProgress& progress, std::chrono::duration<double> elapsed);

/// The figures that fit, from the first one on, and where there is room the path, cut in its middle.
std::string progressText(const std::vector<std::string>& figures, std::string_view path, std::size_t columns);

}  // namespace tidra
