// The hub's API as its clients call it: agents, which report and fetch policies, and administrators.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/path_resolver.h"
#include "fleet/http/http_message.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_report.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

/// The first 200 characters of what a hub has written, with U+FFFD for what is no UTF-8: as much as an error tells.
std::string shownStart(const std::string& text);

/// Each call is one HTTP exchange, blocks for it and throws HubClientError; nothing is tried twice. Calls share
/// nothing, so any thread may make them.
struct HubClient {
  /// Why a call failed; what() is the rest of a sentence for people and may hold any bytes of the hub's answer.
  class HubClientError : public std::runtime_error {
   public:
    enum class Kind { badURL, transport, http, rejected };

    /// A user and password in the URL, which no request can carry, are not told.
    static HubClientError badURL(const std::string& url);
    static HubClientError transport(const std::string& description);
    /// The hub answered with a status of failure, or with a body that is not what was asked for.
    static HubClientError http(int status, const std::string& body);
    static HubClientError rejected(const HubAck& ack);

    Kind kind() const { return kind_; }
    int status() const { return status_; }             // 0 unless `http`
    const std::string& body() const { return body_; }  // empty unless `http`

   private:
    HubClientError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    Kind kind_;
    int status_ = 0;
    std::string body_;
  };

  /// One request, ready to be sent.
  struct Prepared {
    std::string method;
    std::string url;
    HTTPHeaders headers;
    std::optional<std::string> body;

    bool operator==(const Prepared&) const = default;
  };

  using HostRow = HubHostRow;
  using HostsEnvelope = HubHostsEnvelope;
  using PoliciesEnvelope = HubPoliciesEnvelope;
  using EventsEnvelope = HubEventsEnvelope;

  static constexpr double defaultTimeout = 30;

  std::string baseURL;                    // http or https; a path in it stays in front of the API's
  std::optional<std::string> token = {};  // absent or empty: none is sent
  double timeout = defaultTimeout;        // seconds, as HTTPClient counts them
  Environment environment = {};           // where to look for curl and to keep its files
  /// Polled on the caller's thread while it waits; true ends the exchange as a transport failure. Empty: never.
  std::function<bool()> shouldCancel = {};

  /// Gives the hub's acknowledgement. Throws `rejected` when that says the report was not accepted.
  HubAck report(const HubHostReport& report) const;
  std::map<std::string, std::string> info() const;
  HubSummary summary() const;
  /// Every host, or with a query (percent-decoded keys and values, such as limit and offset) those that it asks for.
  HubHostsEnvelope hosts(const std::map<std::string, std::string>& query = {}) const;
  HubHostRecord host(const std::string& name) const;
  void removeHost(const std::string& name) const;
  /// An empty text clears the note.
  void setNote(const std::string& name, const std::string& text) const;
  HubPoliciesEnvelope policies() const;
  /// The document as it was put there; not looked into.
  std::string policy(const std::string& name) const;
  void putPolicy(const std::string& name, const std::string& document) const;
  void removePolicy(const std::string& name) const;
  /// The newest `count` events, oldest first.
  HubEventsEnvelope events(std::size_t count) const;

  /// The request for a path below the base URL, whose components may hold any bytes. Throws `badURL`.
  Prepared prepare(std::string method, const std::vector<std::string>& components,
                   const std::map<std::string, std::string>& query = {}, std::optional<std::string> body = {}) const;

  /// True when the token would cross a network that anybody on the way can read: plain http to another machine.
  bool exposesToken() const;

 private:
  std::string send(const Prepared& prepared) const;
  /// A call that is answered with no more than that it was done.
  void change(const Prepared& prepared) const;
  template <class Answer>
  Answer ask(const Prepared& prepared, std::size_t mostBytes = mostForeignJsonBytes) const;
};

}  // namespace tidra
