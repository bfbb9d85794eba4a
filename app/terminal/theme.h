// Colours of the screens. The background stays the terminal's own, so each colour has to be readable on a light and on
// a dark one.
#pragma once

#include <optional>

#include "app/terminal/frame.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

/// Of the words for these.
Ink inkOf(ProjectActivity activity);
Ink inkOf(ArtifactSafetyTier tier);

struct InkStyle {
  std::optional<short> color = {};  // index in the terminal's palette; absent: the terminal's foreground
  bool bold = false;
  bool dim = false;

  bool operator==(const InkStyle&) const = default;
};

/// `colors`: how many the terminal has; 0 for none, or none wanted.
InkStyle styleOf(Ink ink, int colors);

}  // namespace tidra
