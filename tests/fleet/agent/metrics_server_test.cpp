#include "fleet/agent/metrics_server.h"

#include <sys/resource.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "tests/support/loopback_client.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using Client = LoopbackClient;

std::string get(const MetricsServer& server, const std::string& target) {
  return exchange(server.port(), "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
}

std::string response(const std::string& status, const std::string& type, const std::string& body) {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\nServer: tidra\r\n\r\n" + body;
}

const std::string expositionType = "text/plain; version=0.0.4; charset=utf-8";
const std::string notFound = response("404 Not Found", "text/plain", "not found\n");
const std::string notAllowed = response("405 Method Not Allowed", "text/plain", "method not allowed\n");

struct RunningServer : MetricsServer {
  RunningServer() : MetricsServer("127.0.0.1", 0) { start(); }
};

TEST(MetricsServer, ServesWhatWasPublishedLast) {
  RunningServer server;
  EXPECT_EQ(get(server, "/metrics"), response("200 OK", expositionType, "# tidra: no run yet\n"));
  EXPECT_EQ(get(server, "/report"), response("200 OK", "application/json", "{}"));
  EXPECT_EQ(get(server, "/healthz"), response("200 OK", "text/plain", "ok\n"));

  server.update("a 1\n# ö\n", R"({"host":"a"})", false);
  EXPECT_EQ(get(server, "/metrics"), response("200 OK", expositionType, "a 1\n# ö\n"));
  EXPECT_EQ(get(server, "/"), response("200 OK", expositionType, "a 1\n# ö\n"));
  EXPECT_EQ(get(server, "/report"), response("200 OK", "application/json", R"({"host":"a"})"));
  const auto degraded = response("503 Service Unavailable", "text/plain", "degraded\n");
  EXPECT_EQ(get(server, "/healthz"), degraded);
  server.setHealthy(true);
  EXPECT_EQ(get(server, "/healthz"), response("200 OK", "text/plain", "ok\n"));
  EXPECT_EQ(get(server, "/metrics?collect[]=x&y=/nope"), response("200 OK", expositionType, "a 1\n# ö\n"));
}

TEST(MetricsServer, RefusesOtherMethodsAndPaths) {
  RunningServer server;
  for (const std::string method : {"POST", "HEAD", "PUT", "DELETE", "OPTIONS", "get", "GETT", "\x16\x03\x01"})
    EXPECT_EQ(exchange(server.port(), method + " /metrics HTTP/1.1\r\n\r\n"), notAllowed) << method;
  EXPECT_EQ(exchange(server.port(), "\r\n"), notAllowed);
  EXPECT_EQ(exchange(server.port(), "GE"), notAllowed);
  for (const std::string target : {"/nope", "/metrics/", "//metrics", "/Metrics", "/metrics/../report", "metrics", ""})
    EXPECT_EQ(get(server, target), notFound) << target;
  for (const std::string request : {"GET", "GET ", "GET\r\n/metrics", "GET /metric"})
    EXPECT_EQ(exchange(server.port(), request), notFound) << request;
  EXPECT_EQ(exchange(server.port(), "GET /healthz"), response("200 OK", "text/plain", "ok\n")) << "read once";
  EXPECT_EQ(exchange(server.port(), "GET /healthz\n\n"), response("200 OK", "text/plain", "ok\n"));
}

TEST(MetricsServer, AnswersARequestThatIsTooLongFromItsBeginning) {
  RunningServer server;
  const std::string rest(30'000, 'x');
  EXPECT_EQ(exchange(server.port(), "GET /healthz HTTP/1.1\r\nCookie: " + rest + "\r\n\r\n"),
            response("200 OK", "text/plain", "ok\n"));
  EXPECT_EQ(exchange(server.port(), "GET /" + rest), notFound);
  // Closing with unread data in flight would drop the end of the response.
  const std::string body(3'000'000, 'b');
  server.update(body, "{}", true);
  EXPECT_TRUE(exchange(server.port(), "GET /metrics HTTP/1.1\r\nCookie: " + rest + "\r\n\r\n") ==
              response("200 OK", expositionType, body));
}

TEST(MetricsServer, SendsALongTextWholeAndSurvivesClientsThatGo) {
  RunningServer server;
  std::string text;
  for (int line = 0; text.size() < 8'000'000; ++line) text += "tidra_line " + std::to_string(line) + "\n";
  server.update(text, "{}", true);
  for (int round = 0; round < 5; ++round) {
    Client impatient(server.port());
    impatient.send("GET /metrics HTTP/1.1\r\n\r\n");
    impatient.reset();
    Client(server.port()).reset();  // RST without a request
  }
  EXPECT_TRUE(get(server, "/metrics") == response("200 OK", expositionType, text));
}

TEST(MetricsServer, ASilentClientHoldsUpNeitherOthersNorTheEnd) {
  RunningServer server;
  Client silent(server.port());
  EXPECT_EQ(get(server, "/healthz"), response("200 OK", "text/plain", "ok\n"));
  EXPECT_EQ(silent.receive(), "") << "closed without an answer";

  Client secondSilent(server.port());
  server.stop();
  EXPECT_EQ(secondSilent.receive(), "");
}

TEST(MetricsServer, AClientThatDoesNotReadDoesNotHoldUpTheEnd) {
  RunningServer server;
  server.update(std::string(50'000'000, 'x'), "{}", true);
  Client deaf(server.port());
  deaf.send("GET /metrics HTTP/1.1\r\n\r\n");
  Client waiting(server.port());
  server.stop();
  EXPECT_LT(deaf.receive().size(), 50'000'000U) << "the server waited until it was read";
}

TEST(MetricsServer, LivesThroughAShortageOfDescriptors) {
  RunningServer server;
  Client client;
  rlimit former{};
  ::getrlimit(RLIMIT_NOFILE, &former);
  const rlimit none{3, former.rlim_max};  // the standard streams use them up
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_TRUE(client.connect(server.port()));
  client.send("GET /healthz HTTP/1.1\r\n\r\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets the server run into EMFILE
  ::setrlimit(RLIMIT_NOFILE, &former);
  EXPECT_EQ(client.receive(), response("200 OK", "text/plain", "ok\n"));
}

TEST(MetricsServer, SaysWhyItCannotStartAndLeavesNothingOpen) {
  RunningServer first;
  const auto before = openDescriptors();
  const auto failure = [](const std::string& host, std::uint16_t port) {
    MetricsServer server(host, port);
    return messageOf<MetricsServer::ServerError>([&] { server.start(); });
  };
  for (const std::string host : {"localhost", "", "127.0.0", "127.0.0.1 ", "256.0.0.1", "::1"})
    EXPECT_EQ(failure(host, 0), "not an IPv4 address: " + host);
  EXPECT_EQ(failure("127.0.0.1", first.port()), "bind() failed: Address already in use");
  EXPECT_EQ(failure("192.0.2.1", 0), "bind() failed: Cannot assign requested address");
  EXPECT_EQ(openDescriptors(), before);
}

TEST(MetricsServer, StartsAndStopsAgainAndAgain) {
  std::uint16_t port = 0;
  const auto before = openDescriptors();
  {
    MetricsServer server("0.0.0.0", 0);
    server.stop();  // before any start
    server.start();
    port = server.port();
    ASSERT_NE(port, 0);
    server.start();
    EXPECT_EQ(server.port(), port) << "a second start changes nothing";
    Client other(port, "127.0.0.2");
    other.send("GET /healthz HTTP/1.1\r\n\r\n");
    EXPECT_EQ(other.receive(), response("200 OK", "text/plain", "ok\n")) << "all interfaces";
    server.stop();
    server.stop();
    EXPECT_EQ(server.port(), 0);
  }
  // The connection closed by the server stays in TIME_WAIT for a minute.
  MetricsServer next("127.0.0.1", port);
  next.start();
  EXPECT_EQ(get(next, "/nope"), notFound);
  next.stop();
  next.start();
  EXPECT_EQ(get(next, "/nope"), notFound);
  next.stop();
  EXPECT_EQ(openDescriptors(), before);
}

TEST(MetricsServer, EveryAnswerIsOfOneUpdate) {
  RunningServer server;
  server.update("a", "a", true);
  std::atomic<bool> done = false;
  std::vector<std::thread> runners;
  for (const char letter : {'a', 'b', 'c'}) {
    runners.emplace_back([&server, &done, letter] {
      for (std::size_t size = 1; !done; size = size % 5000 + 1)
        server.update(std::string(size, letter), std::string(size, letter), letter == 'a');
    });
  }
  for (int round = 0; round < 100; ++round) {
    const auto answer = get(server, round % 2 == 0 ? "/metrics" : "/report");
    const auto body = answer.substr(answer.find("\r\n\r\n") + 4);
    EXPECT_EQ(body, std::string(body.size(), body.at(0)));
    EXPECT_NE(answer.find("Content-Length: " + std::to_string(body.size()) + "\r\n"), std::string::npos);
  }
  done = true;
  for (auto& runner : runners) runner.join();
}

#ifdef __linux__
TEST(MetricsServer, ItsThreadHasANameAndTakesNoSignals) {
  const RunningServer server;
  const std::string name = "tidra-metrics-s";  // the thread name, truncated by the kernel
  EXPECT_EQ(get(server, "/nope"), notFound);   // after a response the name is set
  int found = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string line;
    bool own = false;
    for (std::ifstream status(task.path() / "status"); std::getline(status, line);) {
      if (line == "Name:\t" + name) own = true, ++found;
      if (own && line.starts_with("SigBlk:")) {
        const auto blocked = std::stoull(line.substr(7), nullptr, 16);
        EXPECT_NE(blocked & (1ULL << (SIGTERM - 1)), 0U) << line;
      }
    }
  }
  EXPECT_EQ(found, 1);
}
#endif

}  // namespace
}  // namespace tidra
