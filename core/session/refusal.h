// Why an item must stay in its place.
#pragma once

#include <string>

namespace tidra {

struct Refusal {
  enum class Why {
    keepFile,     // ".tidra-keep" in it or above it
    inUse,        // by a process
    mount,        // a file system is mounted there
    permissions,  // the running user may not remove it
    ownWork,      // holds work by now that the user did not agree to remove
    excluded,     // is excluded, or holds something that is
    contents,     // holds something else that scans leave alone: a trash, a quarantine, files of others
    gone,
    unmatched,   // matches no rule
    changed,     // no longer what was planned: its tier, its evidence, or a limit of the plan
    unselected,  // holds a finding of a higher tier that is not selected
  };

  Why why = Why::keepFile;
  std::string text;         // the rest of a sentence after the item's path
  bool isOfInside = false;  // `why` is that of a finding in the item

  /// Whether CleanupOptions::force removes it.
  bool canBeForced() const { return why == Why::keepFile || why == Why::inUse; }
  /// Whether CleanupOptions::allowAnyPath removes it.
  bool canBeAllowed() const { return why == Why::unmatched; }

  bool operator==(const Refusal&) const = default;
};

}  // namespace tidra
