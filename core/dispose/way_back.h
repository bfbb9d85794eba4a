// Moving what lies in a trash or a quarantine back to where it came from.
#pragma once

#include <string>
#include <string_view>

#include "core/platform/held_folder.h"

namespace tidra {

/// Returns the standardised path that the entry at `stored` goes back to. `original` is the path in its record, which
/// `record` names in messages ("its manifest"). Throws DisposalError if that is not a valid absolute path, if something
/// is there now, if the user made a link on the way to it after the entry was moved, or if the nearest existing folder
/// belongs to another user; UnsafePathError for links of others; std::system_error. Changes nothing. Root may restore
/// into folders of any user.
std::string placeToRestore(const std::string& original, std::string_view record, const std::string& stored);

/// Moves an entry of a store to a place that placeToRestore() returned, creating missing parent folders, never
/// replacing anything. Throws as that does; the entry is then still in its store.
void moveBack(const HeldEntry& entry, const std::string& place);

}  // namespace tidra
