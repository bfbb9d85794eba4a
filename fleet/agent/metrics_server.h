// A small HTTP listener that serves the latest metrics, the latest report and the agent's health.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "core/platform/file_descriptor.h"
#include "core/platform/listening_socket.h"
#include "core/platform/stop_signal.h"

namespace tidra {

/// GET /metrics and / give the metrics, /report the report as JSON, /healthz 200 or 503; what follows a "?" is ignored.
/// Connections are served one after the other on one thread. A client that sends nothing for a second, or takes more
/// than a few to fetch its answer, is left.
class MetricsServer {
 public:
  using ServerError = ListeningError;

  /// `host` is a dotted IPv4 address, "0.0.0.0" for all interfaces. Port 0 lets the system choose a free one. Nothing
  /// is opened yet.
  MetricsServer(std::string host, std::uint16_t port);
  /// Stops.
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  // start and stop are called from one thread; everything else from any.

  /// Opens the socket and starts the thread; nothing happens while it is started. Throws ServerError, and
  /// std::system_error when there is no thread to be had; then nothing is left open.
  void start();

  /// Replaces what is served. Until the first call the metrics are a comment that no run has been, the report is an
  /// empty object, and the health is good.
  void update(std::string metricsText, std::string reportJSON, bool healthy);

  /// Replaces the health alone, for a run that failed before it had figures.
  void setHealthy(bool healthy);

  /// Ends the thread, leaving the client that it serves, and closes the socket: at once, whatever clients do. Nothing
  /// happens when it is not started. It can be started again.
  void stop();

  /// The port that is listened on; while not started, the one that was asked for.
  std::uint16_t port() const;

 private:
  struct Answer;

  void close();
  void serve() const;
  void serveConnection(const FileDescriptor& connection) const;
  Answer answerTo(std::string_view request) const;

  mutable std::mutex lock_;  // guards the three published values
  std::string metricsText_ = "# tidra: no run yet\n";
  std::string reportJSON_ = "{}";
  bool healthy_ = true;

  const std::string host_;
  const std::uint16_t askedPort_;
  std::atomic<std::uint16_t> port_;
  FileDescriptor socketFD_;
  std::optional<StopSignal> stopping_;
  std::thread thread_;
};

}  // namespace tidra
