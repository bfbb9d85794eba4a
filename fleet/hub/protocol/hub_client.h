// The client of the hub's API, for agents and administrators.
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

/// The first 200 characters of a hub's text for an error message, with U+FFFD for invalid UTF-8.
std::string shownStart(const std::string& text);

/// Each call is one blocking HTTP exchange without retries; it throws HubClientError. Thread-safe: calls share no
/// state.
struct HubClient {
  /// Why a call failed; what() completes a sentence for people and may contain any bytes of the hub's response.
  class HubClientError : public std::runtime_error {
   public:
    enum class Kind { badURL, transport, http, rejected };

    /// Omits user and password of the URL from the message.
    static HubClientError badURL(const std::string& url);
    static HubClientError transport(const std::string& description);
    /// For an error status, or a body that is not the expected document.
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

  std::string baseURL;                    // http or https; its path prefixes the API's
  std::optional<std::string> token = {};  // absent or empty: no token is sent
  double timeout = defaultTimeout;        // seconds, see HTTPClient::send
  Environment environment = {};           // where to find curl and to put its files
  /// Polled on the caller's thread during an exchange; true ends it as a transport error. Empty: never.
  std::function<bool()> shouldCancel = {};

  /// Returns the hub's acknowledgement. Throws `rejected` when it says that the report was not accepted.
  HubAck report(const HubHostReport& report) const;
  std::map<std::string, std::string> info() const;
  HubSummary summary() const;
  /// All hosts, or those that match a query (decoded keys and values, such as limit and offset).
  HubHostsEnvelope hosts(const std::map<std::string, std::string>& query = {}) const;
  HubHostRecord host(const std::string& name) const;
  void removeHost(const std::string& name) const;
  /// An empty text removes the note.
  void setNote(const std::string& name, const std::string& text) const;
  HubPoliciesEnvelope policies() const;
  /// The document as stored, not interpreted.
  std::string policy(const std::string& name) const;
  void putPolicy(const std::string& name, const std::string& document) const;
  void removePolicy(const std::string& name) const;
  /// The newest `count` events, oldest first.
  HubEventsEnvelope events(std::size_t count) const;

  /// Builds the request for a path below the base URL; components may hold any bytes. Throws `badURL`.
  Prepared prepare(std::string method, const std::vector<std::string>& components,
                   const std::map<std::string, std::string>& query = {}, std::optional<std::string> body = {}) const;

  /// True when the token would cross a network unencrypted: plain http to another machine.
  bool exposesToken() const;

 private:
  std::string send(const Prepared& prepared) const;
  /// For calls whose response only confirms success.
  void change(const Prepared& prepared) const;
  template <class Answer>
  Answer ask(const Prepared& prepared, std::size_t mostBytes = mostForeignJsonBytes) const;
};

}  // namespace tidra
