// One accepted connection: one request, one response.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "core/base/byte_units.h"
#include "core/platform/file_descriptor.h"
#include "fleet/http/http_message.h"
#include "fleet/http/http_parser.h"

namespace tidra {

/// The server's resource limits.
struct HTTPServerLimits {
  std::size_t connections = 512;         // concurrently; more get a 503, unless a silent one can be dropped
  std::size_t workers = 16;              // threads that call the handler
  std::size_t bodyBytes = 256_MiB;       // total of large bodies received so far; more get a 503
  std::size_t smallBodyBytes = 256_KiB;  // of each body, not counted against bodyBytes
  std::chrono::milliseconds wait = std::chrono::seconds(10);       // between two bytes from or to a client
  std::chrono::milliseconds crowded = std::chrono::seconds(1);     // the same, when the server is full
  std::chrono::milliseconds request = std::chrono::seconds(30);    // for the whole request
  std::chrono::milliseconds response = std::chrono::seconds(120);  // for the whole response
  std::chrono::milliseconds closing = std::chrono::seconds(1);     // for the client to close after an early response
};

/// A budget shared by threads.
class ByteBudget {
 public:
  explicit ByteBudget(std::size_t bytes) : left_(bytes) {}
  /// Returns false and takes nothing when less is left.
  [[nodiscard]] bool take(std::size_t bytes);
  void giveBack(std::size_t bytes) { left_ += bytes; }

 private:
  std::atomic<std::size_t> left_;
};

using HTTPHandler = std::function<HTTPResponse(const HTTPRequest&)>;

/// Called with what() of an exception that a handler threw.
using HTTPFailureLog = std::function<void(std::string_view what)>;

/// Used by one thread at a time; blocks for a few milliseconds at most.
class HTTPConnection {
 public:
  using Clock = std::chrono::steady_clock;

  /// What to wait for before advance() is called again.
  enum class Next { readable, writable, close };

  /// Keeps references to `limits` and `bodyBytes`.
  HTTPConnection(FileDescriptor socket, std::size_t maxBodyBytes, const HTTPServerLimits& limits,
                 ByteBudget& bodyBytes);
  ~HTTPConnection() { bodyBytes_.giveBack(takenBytes_); }
  HTTPConnection(const HTTPConnection&) = delete;
  HTTPConnection& operator=(const HTTPConnection&) = delete;

  /// Reads, calls the handler once the request is complete, and writes, as far as possible without blocking. An
  /// exception of the handler becomes a 500. While the server is ending, incomplete requests are dropped.
  Next advance(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding);

  /// Responds without reading a request.
  Next refuse(const HTTPResponse& response, bool isEnding = false);

  int descriptor() const { return socket_.get(); }
  /// When to close the connection, unless it becomes ready before.
  Clock::time_point deadline() const { return deadline_; }
  /// True while the client has not sent a whole request.
  bool isReading() const { return stage_ == Stage::reading; }
  /// When the client last sent or accepted bytes; initially when it connected.
  Clock::time_point silentSince() const { return silentSince_; }

 private:
  enum class Stage { reading, writing, draining };

  Next read(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding);
  Next write(bool isEnding);
  Next drain();
  Next waitWithin(Next next, Clock::time_point end);
  bool waitForFirstBytes();
  bool takeBodyBytes();
  bool sendContinue();
  void answer(const HTTPHandler& handler, const HTTPFailureLog& failed);
  void beginWriting(std::string bytes, bool drainsAfterwards);

  FileDescriptor socket_;
  ByteBudget& bodyBytes_;
  std::size_t takenBytes_ = 0;
  const HTTPServerLimits& limits_;
  HTTPRequestReader reader_;
  Stage stage_ = Stage::reading;
  Clock::time_point stageEnd_;  // deadline of the whole stage
  Clock::time_point deadline_;
  Clock::time_point silentSince_;
  std::string output_;
  std::size_t sent_ = 0;
  bool isFresh_ = true;  // has not waited for the first bytes yet
  bool sentContinue_ = false;
  bool drainsAfterwards_ = false;
};

}  // namespace tidra
