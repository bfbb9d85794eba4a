// A state machine: reading, writing, draining. Each step does what it can without blocking and returns what to wait
// for, so that a slow client costs a descriptor and a buffer, but no thread.
//
// Lingering close: closing with unread input makes the kernel send RST, which can destroy the response. After a
// response to a request that was not read whole, read and discard until the peer closes, bounded by a timeout.
#include "fleet/http/http_connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <exception>
#include <utility>

#include "core/platform/sockets.h"

namespace tidra {
namespace {

constexpr std::size_t readBytes = 16384;
/// A request mostly follows its connection at once; waiting for it here saves two thread switches.
constexpr int firstBytesMilliseconds = 5;
/// Fairness: a flooding client is drained in slices.
constexpr std::size_t drainedAtOnce = 262144;

bool isNotYet(std::error_code reason) {
  return reason == std::errc::resource_unavailable_try_again || reason == std::errc::operation_would_block;
}

HTTPResponse internalError() { return guarded(HTTPResponse::text(500, "internal server error")); }

HTTPResponse busy() { return HTTPResponse::text(503, "too many large requests; try again later"); }

}  // namespace

bool ByteBudget::take(std::size_t bytes) {
  std::size_t left = left_;
  while (left >= bytes) {
    if (left_.compare_exchange_weak(left, left - bytes)) return true;
  }
  return false;
}

HTTPConnection::HTTPConnection(FileDescriptor socket, std::size_t maxBodyBytes, const HTTPServerLimits& limits,
                               ByteBudget& bodyBytes)
    : socket_(std::move(socket)),
      bodyBytes_(bodyBytes),
      limits_(limits),
      reader_(maxBodyBytes),
      silentSince_(Clock::now()) {
  stageEnd_ = silentSince_ + limits.request;
  deadline_ = stageEnd_;
}

HTTPConnection::Next HTTPConnection::advance(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding) {
  if (stage_ == Stage::reading) return read(handler, failed, isEnding);
  return stage_ == Stage::writing ? write(isEnding) : drain();
}

HTTPConnection::Next HTTPConnection::refuse(const HTTPResponse& response, bool isEnding) {
  beginWriting(serialized(guarded(response), reader_.request().method != "HEAD"), true);
  return write(isEnding);
}

HTTPConnection::Next HTTPConnection::read(const HTTPHandler& handler, const HTTPFailureLog& failed, bool isEnding) {
  using State = HTTPRequestReader::State;
  std::array<char, readBytes> buffer;
  for (;;) {
    const auto count = receiveNow(socket_, buffer);
    if (!count) {
      if (!isNotYet(count.failure())) return Next::close;
      if (!isEnding && waitForFirstBytes()) continue;
      return isEnding ? Next::close : waitWithin(Next::readable, stageEnd_);
    }
    if (*count == 0) return Next::close;
    isFresh_ = false;
    switch (reader_.add({buffer.data(), *count})) {
      case State::head:
        continue;
      case State::body:
        if (!takeBodyBytes()) return refuse(busy(), isEnding);
        if (!sendContinue()) return Next::close;
        continue;
      case State::complete:
        answer(handler, failed);
        return write(isEnding);
      case State::refused:
        return refuse(reader_.refusal(), isEnding);
      case State::overlong:
        return Next::close;
    }
  }
}

HTTPConnection::Next HTTPConnection::write(bool isEnding) {
  assert(stage_ == Stage::writing && sent_ <= output_.size());
  if (isEnding) stageEnd_ = std::min(stageEnd_, Clock::now() + limits_.wait);
  while (sent_ < output_.size()) {
    const auto count = sendNow(socket_, std::string_view(output_).substr(sent_));
    if (!count) return isNotYet(count.failure()) ? waitWithin(Next::writable, stageEnd_) : Next::close;
    sent_ += *count;
  }
  if (!drainsAfterwards_ || shutDownSending(socket_)) return Next::close;
  stage_ = Stage::draining;
  stageEnd_ = Clock::now() + limits_.closing;
  return drain();
}

HTTPConnection::Next HTTPConnection::drain() {
  assert(stage_ == Stage::draining);
  std::array<char, readBytes> buffer;
  for (std::size_t drained = 0; drained < drainedAtOnce;) {
    const auto count = receiveNow(socket_, buffer);
    if (!count && isNotYet(count.failure())) break;
    if (!count || *count == 0) return Next::close;
    drained += *count;
  }
  return waitWithin(Next::readable, stageEnd_);
}

HTTPConnection::Next HTTPConnection::waitWithin(Next next, Clock::time_point end) {
  const auto now = Clock::now();
  silentSince_ = now;
  deadline_ = std::min(now + limits_.wait, end);
  return now < end ? next : Next::close;
}

bool HTTPConnection::waitForFirstBytes() {
  if (!std::exchange(isFresh_, false)) return false;
  pollfd watched{socket_.get(), POLLIN, 0};
  return ::poll(&watched, 1, firstBytesMilliseconds) > 0;
}

/// Counts bytes received, not the Content-Length claimed, which is free for a client. False: the budget is used up.
bool HTTPConnection::takeBodyBytes() {
  const std::size_t arrived = reader_.arrivedBodyBytes();
  const std::size_t counted = arrived - std::min(arrived, limits_.smallBodyBytes);
  if (counted <= takenBytes_) return true;
  if (!bodyBytes_.take(counted - takenBytes_)) return false;
  takenBytes_ = counted;
  return true;
}

/// Sends "100 Continue" once when the client expects it; returns false when it could not be sent whole.
bool HTTPConnection::sendContinue() {
  constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
  if (!reader_.awaitsContinue() || std::exchange(sentContinue_, true)) return true;
  const auto count = sendNow(socket_, goOn);
  return count && *count == goOn.size();  // fits the empty send buffer of a new connection
}

void HTTPConnection::answer(const HTTPHandler& handler, const HTTPFailureLog& failed) {
  assert(reader_.state() == HTTPRequestReader::State::complete);
  const bool withBody = reader_.request().method != "HEAD";
  std::string bytes;
  try {
    bytes = serialized(handler(reader_.request()), withBody);
  } catch (const std::exception& failure) {
    if (failed) failed(failure.what());
    bytes = serialized(internalError(), withBody);
  } catch (...) {
    if (failed) failed("something that is no std::exception");
    bytes = serialized(internalError(), withBody);
  }
  beginWriting(std::move(bytes), reader_.hasSurplus());
}

void HTTPConnection::beginWriting(std::string bytes, bool drainsAfterwards) {
  assert(stage_ == Stage::reading);  // a second response would follow the first
  stage_ = Stage::writing;
  stageEnd_ = Clock::now() + limits_.response;
  output_ = std::move(bytes);
  drainsAfterwards_ = drainsAfterwards;
}

}  // namespace tidra
