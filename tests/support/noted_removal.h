// A folder as an interrupted deletion leaves it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "core/platform/held_folder.h"
#include "core/scan/removal_note.h"

namespace tidra {

/// Writes the note that the folder, named like a leftover, is one of the running user's.
inline void noteRemoval(const std::string& leftover) {
  const HeldEntry entry = holdEntry(leftover);
  ASSERT_FALSE(RemovalNote::make(entry.folder.descriptor.get(), entry.name, entry.facts, "before"));
}

}  // namespace tidra
