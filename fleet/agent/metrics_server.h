// A small HTTP listener for the latest metrics, the latest report and the agent's health.
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

/// GET /metrics and / return the metrics, /report the report as JSON, /healthz 200 or 503; a query is ignored. One
/// thread serves one connection at a time. Clients that send nothing for a second, or read too slowly, are closed.
class MetricsServer {
 public:
  using ServerError = ListeningError;

  /// `host` is an IPv4 address, "0.0.0.0" for all interfaces. Port 0 picks a free one. Nothing is opened yet.
  MetricsServer(std::string host, std::uint16_t port);
  /// Calls stop().
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  // Call start and stop from one thread; the rest is thread-safe.

  /// Opens the socket and starts the thread; no effect while running. Throws ServerError, and std::system_error without
  /// a thread; then nothing stays open.
  void start();

  /// Replaces the published values. Before the first call the metrics are a comment, the report is an empty object, and
  /// the health is good.
  void update(std::string metricsText, std::string reportJSON, bool healthy);

  /// Sets the health only, for a run that failed before it had figures.
  void setHealthy(bool healthy);

  /// Ends the thread at once, dropping its client, and closes the socket. No effect when not running. May be started
  /// again.
  void stop();

  /// The port listened on; while not running, the one requested.
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
