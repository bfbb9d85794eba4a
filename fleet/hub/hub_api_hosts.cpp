#include <fmt/format.h>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "fleet/hub/host_listing.h"
#include "fleet/hub/hub_api.h"
#include "fleet/hub/hub_query.h"

namespace tidra {
namespace {

/// Slightly below the limit of our own client.
constexpr std::size_t mostListingBytes = 60_MiB;

[[noreturn]] void refuseUnknown() { throw HubRefusal(404, "unknown host"); }

HubHostSelection selected(const HubCall& call) {
  const HubQuery query(call.request.query);
  return call.store.select({.text = query.text("q"),
                            .status = query.choice<HubHostStatus>("status"),
                            .platform = query.choice<TidraPlatform>("platform"),
                            .offset = query.count("offset").value_or(0),
                            .limit = query.count("limit")},
                           call.now);
}

}  // namespace

HTTPResponse answerHosts(const HubCall& call) {
  const HubQuery query(call.request.query);
  const HostRowParts parts{.history = query.isWanted("history"), .topItems = query.isWanted("topItems")};
  const HubHostSelection selection = selected(call);
  auto text = hostListingText(selection.hosts, parts, mostListingBytes);
  if (!text) {
    throw HubRefusal(400,
                     "the listing is longer than 60 MiB; leave the history out with history=0, or ask for fewer hosts "
                     "at a time with limit and offset");
  }
  HTTPResponse response = HTTPResponse::json(200, std::move(*text));
  response.headers["X-Total-Count"] = fmt::to_string(selection.total);
  return response;
}

HTTPResponse answerHostTable(const HubCall& call) {
  const HubHostSelection selection = selected(call);
  HTTPResponse response = HTTPResponse::text(200, hostTableText(selection.hosts));
  response.headers["Content-Type"] = "text/csv; charset=utf-8; header=present";
  response.headers["Content-Disposition"] = "attachment; filename=\"hosts.csv\"";
  response.headers["X-Total-Count"] = fmt::to_string(selection.total);
  return response;
}

HTTPResponse answerHost(const HubCall& call) {
  const auto host = call.store.find(call.names[0], call.now);
  if (!host) refuseUnknown();
  return HTTPResponse::json(200, hostRowText(*host, {}));
}

HTTPResponse answerHostRemoval(const HubCall& call) {
  if (!call.store.remove(call.names[0], call.now)) refuseUnknown();
  call.log(fmt::format("host '{}' removed", escapedForTerminal(call.names[0])));
  return doneResponse();
}

HTTPResponse answerNote(const HubCall& call) {
  if (!call.store.setNote(call.names[0], call.request.body, call.now)) refuseUnknown();
  call.log(fmt::format("note of host '{}' updated", escapedForTerminal(call.names[0])));
  return doneResponse();
}

}  // namespace tidra
