// A small HTTP/1.1 server: one request and one response a connection, each request given to one handler.
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

#include "core/platform/listening_socket.h"
#include "core/platform/wake_pipe.h"
#include "fleet/http/http_connection.h"

namespace tidra {

/// The handler is called on several threads at once. A client is answered 400 for a request that cannot be taken, 413
/// for a body that is too large, 503 when there are too many connections and 500 when the handler throws; one that is
/// too slow, or whose head is longer than HTTPRequestReader::mostHeadBytes, is left without an answer. When there are
/// too many connections, the one that has been silent for longest counts as too slow sooner.
class HTTPServer {
 public:
  static constexpr std::size_t usualMaxBodyBytes = 8 * 1024 * 1024;

  /// `host` is a dotted IPv4 address, "0.0.0.0" for all interfaces. Port 0 lets the system choose a free one. `failed`
  /// is told what a handler throws, on the handler's thread; the client is not. Nothing is opened yet.
  HTTPServer(std::string host, std::uint16_t port, HTTPHandler handler, std::size_t maxBodyBytes = usualMaxBodyBytes,
             HTTPServerLimits limits = {}, HTTPFailureLog failed = {});
  /// Stops.
  ~HTTPServer();
  HTTPServer(const HTTPServer&) = delete;
  HTTPServer& operator=(const HTTPServer&) = delete;

  // Any thread may call these, but no handler may stop its server.

  /// Opens the socket and starts the threads; nothing happens while it is started. Throws ListeningError, and
  /// std::system_error when there are no threads or descriptors to be had; then nothing is left open.
  void start();

  /// Takes no more connections, finishes the requests that have arrived, and ends the threads. A client has
  /// HTTPServerLimits::wait to take its response; a handler takes what it takes. Nothing happens when it is not
  /// started. It can be started again.
  void stop();

  /// The port that is listened on; while not started, the one that was asked for.
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

  // On the workers.
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

  std::mutex lock_;  // held by start and stop
  std::atomic<bool> stopping_ = false;
  std::optional<WakePipe> wake_;
  std::thread thread_;

  // The accept thread's own while it runs.
  FileDescriptor socketFD_;
  std::vector<Parked> parked_;
  HTTPConnection::Clock::time_point acceptAgainAt_;

  std::mutex queueLock_;  // guards the next five
  std::deque<Connection> queue_;
  std::vector<Parked> returned_;
  bool isQueueClosed_ = false;
  std::size_t idleWorkers_ = 0;
  bool isWorkerWaking_ = false;  // one has been woken and has not looked at the queue yet
  std::condition_variable queueChanged_;
  std::vector<std::thread> workers_;
  ByteBudget bodyBytes_;
  std::atomic<std::size_t> open_ = 0;  // connections, wherever they are
};

}  // namespace tidra
