// What a removal did: freed, still in the trash, failed.
#pragma once

#include <optional>
#include <string>

#include "app/terminal/text_lines.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/cleanup_job.h"
#include "app/view/removal_summary.h"

namespace tidra {

class SummaryScreen {
 public:
  void show(RemovalSummary summary, std::vector<std::string> notes);
  /// Items that came back after the removal.
  void addRestored(std::size_t items) { restored_ += items; }
  bool isEmpty() const { return !summary_; }

  void draw(Canvas canvas, const UiState& state);
  std::vector<std::string> texts(const UiState& state) const;
  UiAction handle(const Key& key);

 private:
  std::vector<ScreenLine> lines(std::size_t columns, const UiState& state) const;

  std::optional<RemovalSummary> summary_;
  std::vector<std::string> notes_;
  std::size_t restored_ = 0;
  ScrolledLines scroll_;
};

/// "removing 3 of 7 · 12,345 files · 45 MB/s · 20 s left · shop/node_modules".
std::string removalLine(const CleanupJobProgress& progress);

}  // namespace tidra
