#include "app/terminal/theme.h"

namespace tidra {
namespace {

/// From the fixed part of the palette of 256, which themes do not change: contrast at least 4.2 with black and white.
InkStyle styleOf256(Ink ink) {
  switch (ink) {
    case Ink::plain:
      return {};
    case Ink::faint:
      return {.color = 243};
    case Ink::accent:
      return {.color = 30};
    case Ink::good:
      return {.color = 28};
    case Ink::attention:
      return {.color = 130};
    case Ink::bad:
      return {.color = 160};
  }
  return {};
}

/// Of the eight basic colours only red and magenta are readable on black and on white in common palettes.
InkStyle styleOf8(Ink ink, bool colored) {
  switch (ink) {
    case Ink::plain:
    case Ink::good:
      return {};
    case Ink::faint:
      return {.dim = true};
    case Ink::accent:
      return {.bold = true};
    case Ink::attention:
      return colored ? InkStyle{.color = 5} : InkStyle{};
    case Ink::bad:
      return colored ? InkStyle{.color = 1} : InkStyle{.bold = true};
  }
  return {};
}

}  // namespace

Ink inkOf(ProjectActivity activity) {
  switch (activity) {
    case ProjectActivity::active:
      return Ink::good;
    case ProjectActivity::recent:
      return Ink::plain;
    case ProjectActivity::inactive:
      return Ink::attention;
    case ProjectActivity::dormant:
      return Ink::bad;
  }
  return Ink::plain;
}

Ink inkOf(ArtifactSafetyTier tier) {
  switch (tier) {
    case ArtifactSafetyTier::safe:
      return Ink::good;
    case ArtifactSafetyTier::caution:
      return Ink::attention;
    case ArtifactSafetyTier::warning:
      return Ink::bad;
  }
  return Ink::plain;
}

InkStyle styleOf(Ink ink, int colors) { return colors >= 256 ? styleOf256(ink) : styleOf8(ink, colors >= 8); }

}  // namespace tidra
