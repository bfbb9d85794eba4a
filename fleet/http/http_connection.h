// One accepted connection: a request comes in, a response goes out, and that is all.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "core/platform/file_descriptor.h"
#include "fleet/http/http_message.h"
#include "fleet/http/http_parser.h"

namespace tidra {

/// What a server spends on its clients at most.
struct HTTPServerLimits {
  std::size_t connections = 512;              // at once; those beyond are answered 503, unless room can be made
  std::size_t workers = 16;                   // threads that call the handler
  std::size_t bodyBytes = 256 * 1024 * 1024;  // that have arrived of large bodies; those beyond are answered 503
  std::size_t smallBodyBytes = 256 * 1024;    // of every body, which count for nothing there
  std::chrono::milliseconds wait = std::chrono::seconds(10);       // for a client to send or take something
  std::chrono::milliseconds crowded = std::chrono::seconds(1);     // to send something when others want its place
  std::chrono::milliseconds request = std::chrono::seconds(30);    // to arrive whole
  std::chrono::milliseconds response = std::chrono::seconds(120);  // to be taken whole
  std::chrono::milliseconds closing = std::chrono::seconds(1);     // for the client to close after an early response
};

/// An amount that any thread may take from and give back to.
class ByteBudget {
 public:
  explicit ByteBudget(std::size_t bytes) : left_(bytes) {}
  /// False, and nothing is taken, when there is not as much.
  bool take(std::size_t bytes);
  void giveBack(std::size_t bytes) { left_ += bytes; }

 private:
  std::atomic<std::size_t> left_;
};

using HTTPHandler = std::function<HTTPResponse(const HTTPRequest&)>;

/// Told what a handler threw, in its words.
using HTTPFailureLog = std::function<void(std::string_view what)>;

/// Used by one thread at a time. Never waits for the client for more than a moment.
class HTTPConnection {
 public:
  using Clock = std::chrono::steady_clock;

  /// What the connection needs before it can go on.
  enum class Next { readable, writable, close };

  /// Keeps references to `limits` and `bodyBytes`.
  HTTPConnection(FileDescriptor socket, std::size_t maxBodyBytes, const HTTPServerLimits& limits,
                 ByteBudget& bodyBytes);
  ~HTTPConnection() { bodyBytes_.giveBack(takenBytes_); }
  HTTPConnection(const HTTPConnection&) = delete;
  HTTPConnection& operator=(const HTTPConnection&) = delete;

  /// Reads, calls the handler once the request is there, and writes, as far as that goes now. A handler that throws is
  /// answered 500. While the server ends, a request that is not there yet is waited for no longer.
  Next advance(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding);

  /// Answers without reading a request.
  Next refuse(const HTTPResponse& response, bool isEnding = false);

  int descriptor() const { return socket_.get(); }
  /// When to give up, unless what is needed happens before.
  Clock::time_point deadline() const { return deadline_; }
  /// True while the client has not sent a whole request.
  bool isReading() const { return stage_ == Stage::reading; }
  /// When the client was last seen to send or take something; at first, when it connected.
  Clock::time_point silentSince() const { return silentSince_; }

 private:
  enum class Stage { reading, writing, draining };

  Next read(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding);
  Next write(bool isEnding);
  Next drain();
  Next waitWithin(Next next, Clock::time_point end);
  bool waitForFirstBytes();
  bool takeBodyBytes();
  bool tellToContinue();
  void answer(const HTTPHandler& handler, const HTTPFailureLog& failed);
  void beginWriting(std::string bytes, bool drainsAfterwards);

  FileDescriptor socket_;
  ByteBudget& bodyBytes_;
  std::size_t takenBytes_ = 0;
  const HTTPServerLimits& limits_;
  HTTPRequestReader reader_;
  Stage stage_ = Stage::reading;
  Clock::time_point stageEnd_;  // of the stage as a whole
  Clock::time_point deadline_;
  Clock::time_point silentSince_;
  std::string output_;
  std::size_t sent_ = 0;
  bool isFresh_ = true;  // nothing has been waited for yet
  bool wasToldToContinue_ = false;
  bool drainsAfterwards_ = false;
};

}  // namespace tidra
