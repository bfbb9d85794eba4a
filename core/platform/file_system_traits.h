// What the file system of an open folder can express, as far as its type shows that. Descriptors may be O_PATH.
#pragma once

namespace tidra {

/// Whether the file system may lack owners and permissions of its own, as FAT, exFAT, NTFS and some network file
/// systems do: everything then shows those of the mount, and chmod has no effect. A type does not prove it. False if
/// unknown.
[[nodiscard]] bool mayLackPermissions(int folder);

/// Whether a folder lies on an overlay of several layers, as in a container; false on macOS.
[[nodiscard]] bool isOnOverlay(int folder);

}  // namespace tidra
