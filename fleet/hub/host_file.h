// The file of one host: its name, and the fast way to read it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// The file name of a host: each character other than an ASCII letter, a digit or one of "-_." becomes "_"; ".json" is
/// appended. Not unique. Names too long for a file system are truncated and end in a hash of the host's name.
std::string hostFileName(std::string_view host);

/// The key under which the file system finds a file: on macOS "Web.json" and "web.json" are the same.
std::string hostFileKey(const std::string& fileName);

/// Hosts' data is for the hub's user only.
inline constexpr unsigned hostFileMode = 0600;

/// Decodes like HubJSON::decode, several times faster for text written by HubJSON::compact. Throws DecodingError, which
/// begins with `what`.
HubHostFile parseHostFile(std::string_view text, const std::string& what);

}  // namespace tidra
