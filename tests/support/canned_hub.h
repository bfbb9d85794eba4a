// A loopback server with canned responses that records its requests.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "fleet/http/http_server.h"

namespace tidra {

class CannedHub {
 public:
  CannedHub() { server_.start(); }

  std::string url(const std::string& path = "") const {
    return "http://127.0.0.1:" + std::to_string(server_.port()) + path;
  }

  /// Sets the response to all requests. The handler may be called concurrently.
  void answer(HTTPHandler handler) {
    const std::scoped_lock guard(lock_);
    handler_ = std::move(handler);
  }
  void answer(const HTTPResponse& response) {
    answer([response](const HTTPRequest&) { return response; });
  }

  /// The requests since the last call.
  std::vector<HTTPRequest> requests() {
    const std::scoped_lock guard(lock_);
    return std::exchange(requests_, {});
  }
  /// The request since the last call, which must be the only one.
  HTTPRequest asked() {
    auto all = requests();
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? HTTPRequest{} : std::move(all.front());
  }

  /// Stops the server.
  void stop() { server_.stop(); }

 private:
  std::mutex lock_;  // guards the next two
  std::vector<HTTPRequest> requests_;
  HTTPHandler handler_ = [](const HTTPRequest&) { return HTTPResponse::json(200, R"({"ok":true})"); };
  HTTPServer server_{"127.0.0.1", 0, [this](const HTTPRequest& request) {
                       HTTPHandler handler;
                       {
                         const std::scoped_lock guard(lock_);
                         requests_.push_back(request);
                         handler = handler_;
                       }
                       return handler(request);
                     }};
};

}  // namespace tidra
