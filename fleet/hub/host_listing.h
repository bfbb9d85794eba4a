// Hosts as text, for the hub's API.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fleet/hub/hub_store.h"

namespace tidra {

struct HostRowParts {
  bool history = true;
  bool topItems = true;  // of the latest report
};

/// A host as a JSON object: with all parts, byte for byte what HubJSON::compact returns for its HubHostRecord. What is
/// left out has no key.
std::string hostRowText(const HubHostView& host, HostRowParts parts);

/// The JSON object {"hosts": […]}; none when longer than `mostBytes`.
std::optional<std::string> hostListingText(const std::vector<HubHostView>& hosts, HostRowParts parts,
                                           std::size_t mostBytes);

/// CSV as in RFC 4180, with a header line. Guards against formula injection: such cells start with an apostrophe.
std::string hostTableText(const std::vector<HubHostView>& hosts);

}  // namespace tidra
