#include "fleet/http/http_client.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include "core/platform/listening_socket.h"
#include "core/platform/process_runner.h"
#include "core/platform/sockets.h"
#include "fleet/http/http_server.h"
#include "tests/support/message_of.h"
#include "tests/support/tables.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using namespace std::chrono_literals;

constexpr double patient = 30;  // seconds

/// Serves one connection with a canned response.
class CannedServer {
 public:
  enum class After { close, dripForEver, silence };

  /// Reads until the request ends with `lastBytes`; does not read when that is empty.
  CannedServer(std::string lastBytes, std::string answer, After after = After::close)
      : socket_(openListeningSocket("127.0.0.1", 0, 5)) {
    thread_ = std::thread([this, last = std::move(lastBytes), bytes = std::move(answer), after] {
      const auto connection = acceptConnection(socket_.descriptor, stop_);
      if (!connection) return;
      while (!last.empty() && !request_.ends_with(last)) {
        const auto more = receiveOnce(*connection, 4096, 30s, stop_);
        if (!more || more->empty()) return;
        request_ += *more;
      }
      if (sendAll(*connection, bytes, 30s, stop_)) return;
      if (after == After::silence) stop_.waitFor(30s);
      while (after == After::dripForEver && !stop_.waitFor(10ms) && !sendAll(*connection, "x", 30s, stop_)) {
      }
    });
  }
  ~CannedServer() { end(); }

  std::string url(const std::string& rest = "") const {
    return "http://127.0.0.1:" + std::to_string(socket_.port) + rest;
  }
  std::uint16_t port() const { return socket_.port; }
  /// The bytes that the client sent.
  std::string request() {
    thread_.join();
    return request_;
  }

 private:
  void end() {
    stop_.raise();
    if (thread_.joinable()) thread_.join();
  }

  ListeningSocket socket_;
  StopSignal stop_;
  std::string request_;
  std::thread thread_;
};

std::string failure(const HTTPClient::Request& request, double timeout = patient, const Environment& environment = {}) {
  return messageOf<HTTPClientError>([&] { HTTPClient::send(request, timeout, environment); });
}

TEST(HTTPClient, SendsExactlyThis) {
  const std::string rest =
      "Connection: close\r\nUser-Agent: tidra/1.3.0\r\nAccept: application/json, text/plain, */*\r\n";
  CannedServer server("body", "HTTP/1.1 503 Busy\r\nX-A: b\r\n\r\nlater");
  const std::string authority = "127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(HTTPClient::send({"POST", server.url("/a%20b?c=d"), {{"Authorization", "Bearer t"}, {"X-B", ""}}, "body"},
                             patient, {}),
            (HTTPClientResponse{503, {{"x-a", "b"}}, "later"}));
  EXPECT_EQ(server.request(), "POST /a%20b?c=d HTTP/1.1\r\nHost: " + authority + "\r\n" + rest +
                                  "Authorization: Bearer t\r\nX-B: \r\nContent-Length: 4\r\n\r\nbody");

  CannedServer second("\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n");
  HTTPClient::send({"GET", "http://localhost:" + std::to_string(second.port()) + "?x#y"}, patient, {});
  EXPECT_EQ(second.request(), "GET /?x HTTP/1.1\r\nHost: localhost:" + std::to_string(second.port()) + "\r\n" + rest +
                                  "Content-Length: 0\r\n\r\n");
}

TEST(HTTPClient, UnderstandsTheServer) {
  HTTPServer server(
      "127.0.0.1", 0, [](const HTTPRequest& request) { return HTTPResponse::json(201, request.body); }, 100'000);
  server.start();
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/";
  const std::string body(100'000, 'b');
  const auto response = HTTPClient::send({"PUT", url, {}, body}, patient, {});
  EXPECT_EQ(response.status, 201);
  EXPECT_EQ(response.headers.at("content-type"), "application/json; charset=utf-8");
  EXPECT_EQ(response.body, body);
  EXPECT_EQ(HTTPClient::send({"PUT", url, {}, std::string(20'000'000, 'b')}, patient, {}).status, 413);
}

TEST(HTTPClient, SaysWhatWentWrong) {
  for (const std::string url : {"", "hub:9480", "ftp://hub/", "http://", "https:///x", "http://hub/\r\nX: y"})
    EXPECT_EQ(failure({"GET", url}), "not an http(s) URL: " + url);
  const std::string noHost = std::string(70, 'a') + ".invalid";  // labels have at most 63 bytes
  EXPECT_EQ(failure({"GET", "http://" + noHost + "/"}), "cannot resolve " + noHost);
  std::uint16_t closedPort = openListeningSocket("127.0.0.1", 0, 1).port;
  EXPECT_EQ(failure({"GET", "http://127.0.0.1:" + std::to_string(closedPort)}), "cannot connect: Connection refused");

  EXPECT_EQ(failure({"GET", CannedServer("\r\n\r\n", "").url()}), "malformed HTTP response");
  EXPECT_EQ(failure({"GET", CannedServer("\r\n\r\n", "HTTP/1.1 200 OK\r\n").url()}), "malformed HTTP response");
  const std::string head = "HTTP/1.1 200 OK\r\n\r\n";
  const std::string most(HTTPClient::mostResponseBytes - head.size(), 'x');
  EXPECT_EQ(failure({"GET", CannedServer("\r\n\r\n", head + most + "x").url()}),
            "connection error: response too large");
  EXPECT_TRUE(HTTPClient::send({"GET", CannedServer("\r\n\r\n", head + most).url()}, patient, {}).body == most);

  const HTTPClientError error = HTTPClientError::connect("a");
  EXPECT_TRUE(error == HTTPClientError::connect("a"));
  EXPECT_FALSE(error == HTTPClientError::connect("b"));
}

TEST(HTTPClient, NeitherSilentNorEndlessServersHoldIt) {
  using After = CannedServer::After;
  for (const After after : {After::silence, After::dripForEver}) {
    CannedServer server("\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n", after);
    EXPECT_EQ(failure({"GET", server.url()}, 0.2), "timed out");
  }
  CannedServer deaf("", "", After::silence);
  EXPECT_EQ(failure({"POST", deaf.url(), {}, std::string(30'000'000, 'x')}, 0.2), "timed out");

  CannedServer silent("\r\n\r\n", "", After::silence);
  StopSignal stop;
  std::thread stopping([&] {
    std::this_thread::sleep_for(20ms);
    stop.raise();
  });
  EXPECT_EQ(messageOf<HTTPClientError>([&] {
              HTTPClient::send({"GET", silent.url()}, patient, {}, &stop);
            }),
            "connection error: cancelled");
  stopping.join();
}

TEST(HTTPClient, LetsNoValueForgeAHeader) {
  using namespace std::string_literals;
  for (const std::string& value : {"a\r\nX: y"s, "a\nb"s, "a\rb"s, "a\0b"s}) {
    for (const std::string url : {"http://127.0.0.1:1/", "https://127.0.0.1:1/"}) {
      EXPECT_EQ(failure({"GET", url, {{"Authorization", value}}}),
                "connection error: the header Authorization cannot be sent: its value holds a control character");
    }
  }
  EXPECT_EQ(failure({"GET", "http://127.0.0.1:1/", {{"A: b\r\nC", "d"}}}),
            "connection error: a header's name cannot be sent");
  EXPECT_EQ(failure({"GET / HTTP/1.1\r\nX:", "http://127.0.0.1:1/"}), "connection error: the method cannot be sent");
}

/// A fake curl that records its arguments and then runs the test's script.
class FakeCurl {
 public:
  explicit FakeCurl(const std::string& script) {
    tree_.makeFolder("given");
    tree_.writeProgram("bin/curl", "cd '" + tree_.root() + "'\nprintf '%s\\n' \"$@\" > arguments\n" + R"(
while [ $# -gt 1 ]; do
  case $1 in -o) out=$2 ;; -D) head=$2 ;; esac
  shift
done
folder=${out%/*}
cp -p "$folder"/* given 2>/dev/null
ls -ld "$folder" > folder
)" + script);
    environment = {{"PATH", tree_.path("bin") + ":/usr/bin:/bin"}, {"TMPDIR", tree_.makeFolder("tmp")}};
  }

  std::string read(const std::string& name) const { return tree_.read(name); }
  std::string path(const std::string& name) const { return tree_.path(name); }
  bool leftNothing() const { return std::filesystem::is_empty(tree_.path("tmp")); }

  Environment environment;

 private:
  TemporaryTree tree_;
};

TEST(CurlTransport, RunsCurlWithoutShowingSecrets) {
  FakeCurl curl(R"(printf 'HTTP/1.1 100 Continue\r\n\r\nHTTP/2 201\r\nX-A: b\r\n\r\n' > "$head"
printf answer > "$out"
printf ' 201\n'
)");
  const HTTPClient::Request request{
      "POST", "https://hub:1/a{b}?c", {{"Authorization", "Bearer secret"}, {"X-Empty", ""}}, "the body"};
  EXPECT_EQ(HTTPClient::send(request, 12.9, curl.environment), (HTTPClientResponse{201, {{"x-a", "b"}}, "answer"}));

  const std::string given = curl.read("arguments");
  const std::string folder = given.substr(given.find("-o\n") + 3, given.find("/out\n") - given.find("-o\n") - 3);
  EXPECT_TRUE(folder.starts_with(curl.path("tmp/tidra-http-"))) << folder;
  EXPECT_EQ(given, "-sS\n-X\nPOST\n--max-time\n12\n-o\n" + folder + "/out\n-D\n" + folder +
                       "/head\n-w\n%{http_code}\n-A\ntidra/1.3.0\n-H\n@" + folder + "/headers\n--data-binary\n@" +
                       folder + "/body\nhttps://hub:1/a%7Bb%7D?c\n");
  EXPECT_EQ(curl.read("given/headers"), "Authorization: Bearer secret\nX-Empty;\n");
  EXPECT_EQ(curl.read("given/body"), "the body");
  EXPECT_TRUE(curl.read("folder").starts_with("drwx------")) << curl.read("folder");
  for (const std::string name : {"given/headers", "given/body"}) {
    struct stat facts {};
    ASSERT_EQ(::stat(curl.path(name).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U) << name;
  }
  EXPECT_TRUE(curl.leftNothing());

  HTTPClient::send({"GET", "https://hub"}, 0.5, curl.environment);
  EXPECT_TRUE(curl.read("arguments").ends_with("-A\ntidra/1.3.0\nhttps://hub\n")) << curl.read("arguments");
}

TEST(CurlTransport, SaysWhatWentWrongAndLeavesNothing) {
  for (const auto& [script, message] :
       TextPairs{{"echo 'curl: (6) Could not resolve host: hub' >&2; echo more >&2; exit 6",
                  "cannot connect: curl exited 6: curl: (6) Could not resolve host: hub"},
                 {"printf '\\033[2J' >&2; exit 28", "cannot connect: curl exited 28: \\x1b[2J"},
                 {"exit 7", "cannot connect: curl exited 7"},
                 {"printf 20x", "malformed HTTP response"},
                 {"", "malformed HTTP response"},
                 {"truncate -s 67108865 \"$out\"; printf 200", "connection error: response too large"},
                 {"truncate -s 67108865 \"$out\"; exec sleep 60", "connection error: response too large"}}) {
    const FakeCurl curl(script);
    EXPECT_EQ(failure({"GET", "https://hub/"}, patient, curl.environment), message) << script;
    EXPECT_TRUE(curl.leftNothing()) << script;
  }
  const FakeCurl plain("printf 200");
  EXPECT_EQ(HTTPClient::send({"GET", "https://hub/"}, patient, plain.environment), (HTTPClientResponse{200, {}, ""}));
  Environment broken = plain.environment;
  broken["TMPDIR"] = plain.path("arguments");
  EXPECT_EQ(failure({"GET", "https://hub/"}, patient, broken).substr(0, 18), "connection error: ");
}

TEST(CurlTransport, RunsNoCurlThatOthersMayHaveWritten) {
  FakeCurl curl("printf 200");
  std::filesystem::permissions(curl.path("bin/curl"), std::filesystem::perms::all);
  curl.environment["PATH"] = curl.path("bin");
  // Another curl may be found, but not this one.
  const std::string message = failure({"GET", "https://127.0.0.1:1/"}, 1, curl.environment);
  EXPECT_EQ(curl.read("arguments"), "");
  if (!ProcessRunner::which("curl", {})) {
    EXPECT_EQ(message, "https needs `curl` on PATH (not found)");
  } else {
    EXPECT_TRUE(message.starts_with("cannot connect: curl exited ")) << message;
  }
}

}  // namespace
}  // namespace tidra
