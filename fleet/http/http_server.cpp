// The accept thread polls the listening socket and all parked connections, those that wait for their client. Ready ones
// go to a queue; a worker advances one as far as possible without blocking, handler included, and returns it when it
// has to wait. So neither idle nor slow clients hold a worker.
#include "fleet/http/http_server.h"

#include <poll.h>

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "core/platform/service_thread.h"
#include "core/platform/sockets.h"

namespace tidra {
namespace {

using Clock = HTTPConnection::Clock;
using Next = HTTPConnection::Next;
using std::chrono::milliseconds;

constexpr int backlog = 64;
/// Connections beyond the limit that get a 503 with a lingering close; further ones get a 503 and are closed.
constexpr std::size_t drainedRefusals = 64;
/// Pause after a failed accept (mostly EMFILE): the pending connection would keep poll() ready and the loop spinning.
constexpr auto shortagePause = milliseconds(100);

short eventsFor(Next next) { return next == Next::writable ? POLLOUT : POLLIN; }

}  // namespace

HTTPServer::HTTPServer(std::string host, std::uint16_t port, HTTPHandler handler, std::size_t maxBodyBytes,
                       HTTPServerLimits limits, HTTPFailureLog failed)
    : host_(std::move(host)),
      askedPort_(port),
      maxBodyBytes_(maxBodyBytes),
      handler_(std::move(handler)),
      limits_(limits),
      failed_(std::move(failed)),
      port_(port),
      bodyBytes_(limits.bodyBytes) {}

HTTPServer::~HTTPServer() { stop(); }

void HTTPServer::start() {
  const std::lock_guard guard(lock_);
  if (thread_.joinable()) return;
  ListeningSocket opened = openListeningSocket(host_, askedPort_, backlog);
  awaitFirstBytes(opened.descriptor);
  wake_.emplace();
  stopping_ = false;
  isQueueClosed_ = false;
  acceptAgainAt_ = {};
  socketFD_ = std::move(opened.descriptor);
  try {
    for (std::size_t i = 0; i < std::max<std::size_t>(limits_.workers, 1); ++i) {
      workers_.push_back(startServiceThread("tidra-hub-http", [this] { work(); }));
    }
    thread_ = startServiceThread("tidra-hub-accept", [this] { serve(); });
  } catch (...) {
    close();
    throw;
  }
  port_ = opened.port;
}

void HTTPServer::stop() {
  const std::lock_guard guard(lock_);
  if (!thread_.joinable()) return;
  stopping_ = true;
  wake_->wake();
  thread_.join();
  close();
}

/// Call only after the accept thread has ended, or before it starts.
void HTTPServer::close() {
  assert(!thread_.joinable());
  {
    const std::lock_guard guard(queueLock_);
    isQueueClosed_ = true;
  }
  queueChanged_.notify_all();
  for (std::thread& worker : workers_) worker.join();
  workers_.clear();
  socketFD_.reset();
  wake_.reset();
  port_ = askedPort_;
}

void HTTPServer::serve() {
  for (;;) {
    takeReturned();
    if (stopping_) leaveWaitingClients();
    if (stopping_ && open_ == 0) return;
    pollOnce();
  }
}

void HTTPServer::takeReturned() {
  const std::lock_guard guard(queueLock_);
  std::move(returned_.begin(), returned_.end(), std::back_inserter(parked_));
  returned_.clear();
}

/// Requests that have arrived are still served. Repeated in every round while stopping: a worker may have parked a
/// connection before it saw the flag.
void HTTPServer::leaveWaitingClients() {
  if (socketFD_) acceptAll();
  socketFD_.reset();
  for (Parked& parked : parked_) {
    // The worker closes it unless its request is complete.
    if (parked.connection->isReading()) enqueue(std::move(parked.connection));
  }
  std::erase_if(parked_, [](const Parked& parked) { return parked.connection == nullptr; });
}

bool HTTPServer::isAccepting() const { return socketFD_ && Clock::now() >= acceptAgainAt_; }

int HTTPServer::mostPollMilliseconds() const {
  auto next = Clock::time_point::max();
  for (const Parked& parked : parked_) next = std::min(next, parked.connection->deadline());
  if (socketFD_ && !isAccepting()) next = std::min(next, acceptAgainAt_);
  if (next == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<milliseconds>(next - Clock::now());
  return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, 60'000));
}

void HTTPServer::pollOnce() {
  std::vector<pollfd> watched{{wake_->descriptor(), POLLIN, 0}, {isAccepting() ? socketFD_.get() : -1, POLLIN, 0}};
  const std::size_t own = watched.size();
  for (const Parked& parked : parked_) {
    watched.push_back({parked.connection->descriptor(), eventsFor(parked.awaited), 0});
  }
  if (::poll(watched.data(), watched.size(), mostPollMilliseconds()) < 0) return;  // interrupted
  if (watched[0].revents != 0) wake_->clear();
  std::vector<short> events;
  for (std::size_t i = own; i < watched.size(); ++i) events.push_back(watched[i].revents);
  resumeParked(events);
  if (watched[1].revents != 0) acceptAll();
}

/// Queues connections that are ready, closes those past their deadline.
void HTTPServer::resumeParked(const std::vector<short>& events) {
  assert(events.size() == parked_.size());
  const auto now = Clock::now();
  for (std::size_t i = 0; i < events.size(); ++i) {
    Connection& connection = parked_[i].connection;
    if (now >= connection->deadline()) {
      drop(std::move(connection));
    } else if (events[i] != 0) {
      enqueue(std::move(connection));
    }
  }
  std::erase_if(parked_, [](const Parked& parked) { return parked.connection == nullptr; });
}

void HTTPServer::acceptAll() {
  for (int round = 0; round < backlog; ++round) {
    auto socket = acceptNow(socketFD_);
    if (!socket) {
      const bool isNone = socket.failure() == std::errc::resource_unavailable_try_again ||
                          socket.failure() == std::errc::operation_would_block;
      if (!isNone) acceptAgainAt_ = Clock::now() + shortagePause;
      return;
    }
    if (open_ >= limits_.connections && !makeRoom()) {
      refuse(std::move(*socket));
    } else {
      ++open_;
      enqueue(std::make_unique<HTTPConnection>(std::move(*socket), maxBodyBytes_, limits_, bodyBytes_));
    }
  }
}

/// Guards against slowloris: drops the client that has been silent longest, if for at least `crowded`, so that idle
/// connections cannot lock others out.
bool HTTPServer::makeRoom() {
  const auto latest = Clock::now() - limits_.crowded;
  auto silent = parked_.end();
  for (auto parked = parked_.begin(); parked != parked_.end(); ++parked) {
    const HTTPConnection& connection = *parked->connection;
    if (!connection.isReading() || connection.silentSince() > latest) continue;
    if (silent == parked_.end() || connection.silentSince() < silent->connection->silentSince()) silent = parked;
  }
  if (silent == parked_.end()) return false;
  drop(std::move(silent->connection));
  parked_.erase(silent);
  return true;
}

void HTTPServer::refuse(FileDescriptor socket) {
  ++open_;
  auto connection = std::make_unique<HTTPConnection>(std::move(socket), maxBodyBytes_, limits_, bodyBytes_);
  const Next next = connection->refuse(HTTPResponse::text(503, "too many connections; try again later"));
  if (next == Next::close || open_ > limits_.connections + drainedRefusals) {
    drop(std::move(connection));
  } else {
    parked_.push_back({std::move(connection), next});
  }
}

void HTTPServer::work() {
  while (Connection connection = nextConnection()) {
    auto next = Next::close;
    try {
      next = connection->advance(handler_, failed_, stopping_);
    } catch (...) {
      // Out of memory: this connection ends, the others go on.
    }
    if (next == Next::close) {
      drop(std::move(connection));
    } else {
      {
        const std::lock_guard guard(queueLock_);
        returned_.push_back({std::move(connection), next});
      }
      wake_->wake();
    }
  }
}

/// Blocks until a connection is queued; returns null once the queue is closed and empty.
std::unique_ptr<HTTPConnection> HTTPServer::nextConnection() {
  std::unique_lock guard(queueLock_);
  while (queue_.empty() && !isQueueClosed_) {
    ++idleWorkers_;
    queueChanged_.wait(guard);
    --idleWorkers_;
    isWorkerWaking_ = false;
  }
  if (queue_.empty()) return nullptr;
  Connection connection = std::move(queue_.front());
  queue_.pop_front();
  wakeWorker(guard);
  return connection;
}

void HTTPServer::enqueue(Connection connection) {
  assert(connection);
  std::unique_lock guard(queueLock_);
  queue_.push_back(std::move(connection));
  wakeWorker(guard);
}

/// Wakes an idle worker when the queue is not empty, and releases the lock. Chained: one worker at a time is woken,
/// which wakes the next if work is left. Mostly the running workers have emptied the queue by then, and a thread switch
/// costs more than a short response.
void HTTPServer::wakeWorker(std::unique_lock<std::mutex>& guard) {
  assert(guard.owns_lock());
  const bool isNeeded = !queue_.empty() && idleWorkers_ > 0 && !isWorkerWaking_;
  if (isNeeded) isWorkerWaking_ = true;
  guard.unlock();
  if (isNeeded) queueChanged_.notify_one();
}

/// Closes the connection and decrements the count; the accept thread waits for the last one to end.
void HTTPServer::drop(Connection connection) {
  connection.reset();
  assert(open_ > 0);
  --open_;
  if (stopping_) wake_->wake();
}

}  // namespace tidra
