// A folder in the state in which a deletion that was cut short leaves it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "core/platform/held_folder.h"
#include "core/scan/removal_note.h"

namespace tidra {

/// Makes the note that says that the folder, which has the name of a leftover, is one of the running user's.
inline void noteRemoval(const std::string& leftover) {
  const HeldEntry entry = holdEntry(leftover);
  ASSERT_FALSE(RemovalNote::make(entry.folder.descriptor.get(), entry.name, entry.facts, "before"));
}

}  // namespace tidra
