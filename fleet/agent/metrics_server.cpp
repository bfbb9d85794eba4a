#include "fleet/agent/metrics_server.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "core/platform/service_thread.h"
#include "core/platform/sockets.h"

namespace tidra {
namespace {

using namespace std::chrono_literals;

constexpr int backlog = 16;
constexpr std::size_t mostRequestBytes = 4096;
// One thread serves all clients; these bound how long each can hold it. A local scraper needs milliseconds.
constexpr auto requestWait = 1s;
constexpr auto answerWait = 5s;
constexpr auto closeWait = 250ms;
/// Pause after a failed accept (mostly EMFILE): the pending connection would keep poll() ready and the loop spinning.
constexpr auto shortagePause = 100ms;

struct RequestLine {
  std::string_view method;
  std::string_view path;  // of the target, without its query
};

/// Lenient: a truncated line yields fewer or shorter parts, which match no resource.
RequestLine requestLineOf(std::string_view request) {
  std::string_view line = request.substr(0, request.find_first_of("\r\n"));
  RequestLine parts;
  const auto methodEnd = line.find(' ');
  parts.method = line.substr(0, methodEnd);
  if (methodEnd == std::string_view::npos) return parts;
  line.remove_prefix(methodEnd + 1);
  parts.path = line.substr(0, line.find_first_of(" ?"));
  return parts;
}

}  // namespace

struct MetricsServer::Answer {
  std::string_view status;
  std::string_view type;
  std::string body;

  std::string text() const {
    return fmt::format(
        "HTTP/1.1 {}\r\nContent-Type: {}\r\nContent-Length: {}\r\nConnection: close\r\nServer: tidra\r\n\r\n{}", status,
        type, body.size(), body);
  }
};

MetricsServer::MetricsServer(std::string host, std::uint16_t port)
    : host_(std::move(host)), askedPort_(port), port_(port) {}

MetricsServer::~MetricsServer() { stop(); }

void MetricsServer::start() {
  if (thread_.joinable()) return;
  ListeningSocket opened = openListeningSocket(host_, askedPort_, backlog);
  stopping_.emplace();
  socketFD_ = std::move(opened.descriptor);
  try {
    thread_ = startServiceThread("tidra-metrics-server", [this] { serve(); });
  } catch (...) {
    close();
    throw;
  }
  port_ = opened.port;
}

void MetricsServer::update(std::string metricsText, std::string reportJSON, bool healthy) {
  const std::lock_guard guard(lock_);
  metricsText_ = std::move(metricsText);
  reportJSON_ = std::move(reportJSON);
  healthy_ = healthy;
}

void MetricsServer::setHealthy(bool healthy) {
  const std::lock_guard guard(lock_);
  healthy_ = healthy;
}

void MetricsServer::stop() {
  if (!thread_.joinable()) return;
  stopping_->raise();
  thread_.join();
  close();
}

/// Call only without the thread: a descriptor number closed during poll() may be reused.
void MetricsServer::close() {
  socketFD_.reset();
  stopping_.reset();
  port_ = askedPort_;
}

std::uint16_t MetricsServer::port() const { return port_; }

void MetricsServer::serve() const {
  while (!stopping_->isRaised()) {
    const auto connection = acceptConnection(socketFD_, *stopping_);
    if (connection) {
      serveConnection(*connection);
    } else {
      stopping_->waitFor(shortagePause);
    }
  }
}

void MetricsServer::serveConnection(const FileDescriptor& connection) const {
  const auto request = receiveOnce(connection, mostRequestBytes, requestWait, *stopping_);
  if (!request || request->empty()) return;
  if (sendAll(connection, answerTo(*request).text(), answerWait, *stopping_)) return;
  finishSending(connection, closeWait, *stopping_);
}

MetricsServer::Answer MetricsServer::answerTo(std::string_view request) const {
  const auto [method, path] = requestLineOf(request);
  if (method != "GET") return {"405 Method Not Allowed", "text/plain", "method not allowed\n"};
  const std::lock_guard guard(lock_);
  if (path == "/metrics" || path == "/") return {"200 OK", "text/plain; version=0.0.4; charset=utf-8", metricsText_};
  if (path == "/healthz") {
    if (healthy_) return {"200 OK", "text/plain", "ok\n"};
    return {"503 Service Unavailable", "text/plain", "degraded\n"};
  }
  if (path == "/report") return {"200 OK", "application/json", reportJSON_};
  return {"404 Not Found", "text/plain", "not found\n"};
}

}  // namespace tidra
