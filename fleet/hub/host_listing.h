// Hosts as the hub's API shows them, as text.
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

/// The JSON object {"hosts": […]}; none when it would be longer than `mostBytes`.
std::optional<std::string> hostListingText(const std::vector<HubHostView>& hosts, HostRowParts parts,
                                           std::size_t mostBytes);

/// Comma-separated values as RFC 4180 has them, with a line of names first. A cell that a spreadsheet would run as a
/// formula begins with an apostrophe.
std::string hostTableText(const std::vector<HubHostView>& hosts);

}  // namespace tidra
