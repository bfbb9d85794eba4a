// Who may decide what a run removes.
#pragma once

#include <string>
#include <string_view>

#include "core/base/errors.h"

namespace tidra {

/// Reads a regular file that only the running user and root can change or replace. Throws InputError, a sentence that
/// begins with `kind` ("Policy"), when another user owns the file, a folder or a link on the way to it, or can write to
/// one of these folders (without the sticky bit) or to the file. The path is followed from "/" down, each step in a
/// folder that was checked before, and owner and permissions of the file are those of the descriptor that is read:
/// there is nothing to exchange between checking and reading (TOCTOU). Fails as readRegularFile() does.
Outcome<std::string> readTrustedFile(std::string_view kind, const std::string& path, std::size_t mostBytes);

}  // namespace tidra
