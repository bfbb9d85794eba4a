// Who may decide what a run removes.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Throws InputError, a sentence that begins with `kind` ("Policy"), when other users could change or replace a file:
/// it belongs to neither the running user nor root, everybody may write to it, or everybody may write to its folder
/// without the sticky bit. Links are resolved; a file that does not exist is left to its reader.
void requireTrustedFile(std::string_view kind, const std::string& path);

}  // namespace tidra
