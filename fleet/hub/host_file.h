// The file of one host: its name, and the fast way to read it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

/// The name of a host's file: "_" for each character that is neither an ASCII letter nor a digit nor one of "-_.", and
/// ".json" after it. Different hosts may have the same. One that no file system would take is cut and ends with a hash
/// of the host's name.
std::string hostFileName(std::string_view host);

/// What the file system takes for the name of a file: on macOS "Web.json" and "web.json" are one.
std::string hostFileKey(const std::string& fileName);

/// Only the hub's own user may read what hosts say.
inline constexpr unsigned hostFileMode = 0600;

/// What HubJSON::decode gives, several times faster for text that HubJSON::compact has made. Throws DecodingError,
/// which begins with `what`.
HubHostFile parseHostFile(std::string_view text, const std::string& what);

}  // namespace tidra
