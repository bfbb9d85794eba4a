// A small HTTP/1.1 server: one request a connection, one handler for all requests.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/base/byte_units.h"
#include "core/platform/listening_socket.h"
#include "core/platform/wake_pipe.h"
#include "fleet/http/http_connection.h"

namespace tidra {

/// The handler is called concurrently. Error responses: 400 for a malformed request, 413 for a body that is too large,
/// 503 with too many connections, 500 when the handler throws. Connections that are too slow, or whose head exceeds
/// HTTPRequestReader::mostHeadBytes, are closed without a response; when the server is full, the longest silent one is
/// closed sooner.
class HTTPServer {
 public:
  static constexpr std::size_t usualMaxBodyBytes = 8_MiB;

  /// `host` is an IPv4 address, "0.0.0.0" for all interfaces. Port 0 picks a free one. `failed` is called with what a
  /// handler throws, on the handler's thread; the client does not see it. Nothing is opened yet.
  HTTPServer(std::string host, std::uint16_t port, HTTPHandler handler, std::size_t maxBodyBytes = usualMaxBodyBytes,
             HTTPServerLimits limits = {}, HTTPFailureLog failed = {});
  /// Calls stop().
  ~HTTPServer();
  HTTPServer(const HTTPServer&) = delete;
  HTTPServer& operator=(const HTTPServer&) = delete;

  // Thread-safe, but a handler must not stop its own server.

  /// Opens the socket and starts the threads; no effect while running. Throws ListeningError, and std::system_error
  /// without threads or descriptors; then nothing stays open.
  void start();

  /// Accepts no more connections, finishes the requests that have arrived, and joins the threads. A client has
  /// HTTPServerLimits::wait to read its response; handlers are not bounded. No effect when not running. May be started
  /// again.
  void stop();

  /// The port listened on; while not running, the one requested.
  std::uint16_t port() const { return port_; }
  const std::string& host() const { return host_; }
  std::size_t maxBodyBytes() const { return maxBodyBytes_; }

 private:
  using Connection = std::unique_ptr<HTTPConnection>;
  struct Parked {
    Connection connection;
    HTTPConnection::Next awaited;
  };

  void close();

  // On the accept thread.
  void serve();
  void takeReturned();
  void leaveWaitingClients();
  void pollOnce();
  bool isAccepting() const;
  int mostPollMilliseconds() const;
  void resumeParked(const std::vector<short>& events);
  void acceptAll();
  bool makeRoom();
  void refuse(FileDescriptor socket);

  // On the worker threads.
  void work();
  std::unique_ptr<HTTPConnection> nextConnection();

  void enqueue(Connection connection);
  void wakeWorker(std::unique_lock<std::mutex>& guard);
  void drop(Connection connection);

  const std::string host_;
  const std::uint16_t askedPort_;
  const std::size_t maxBodyBytes_;
  const HTTPHandler handler_;
  const HTTPServerLimits limits_;
  const HTTPFailureLog failed_;
  std::atomic<std::uint16_t> port_;

  std::mutex lock_;  // guards start and stop
  std::atomic<bool> stopping_ = false;
  std::optional<WakePipe> wake_;
  std::thread thread_;

  // Used by the accept thread only while it runs.
  FileDescriptor socketFD_;
  std::vector<Parked> parked_;
  HTTPConnection::Clock::time_point acceptAgainAt_;

  std::mutex queueLock_;  // guards the next five
  std::deque<Connection> queue_;
  std::vector<Parked> returned_;
  bool isQueueClosed_ = false;
  std::size_t idleWorkers_ = 0;
  bool isWorkerWaking_ = false;  // notified, and has not looked at the queue yet
  std::condition_variable queueChanged_;
  std::vector<std::thread> workers_;
  ByteBudget bodyBytes_;
  std::atomic<std::size_t> open_ = 0;  // all connections: parked, queued or with a worker
};

}  // namespace tidra
