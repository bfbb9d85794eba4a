#include "fleet/http/http_server.h"

#include <future>
#include <latch>
#include <stdexcept>
#include <thread>

#include "tests/support/loopback_client.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using namespace std::chrono_literals;

const std::string hello = "GET /hello HTTP/1.1\r\nHost: a\r\n\r\n";

/// The exact bytes of a response; `headers` are the handler's.
std::string response(const std::string& status, const std::string& headers, const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\nServer: tidra-hub\r\n\r\n" + body;
}

std::string textResponse(const std::string& status, const std::string& body) {
  return response(status, "Content-Type: text/plain; charset=utf-8\r\nCache-Control: no-store\r\n", body);
}

/// The server's own error response, with its protective headers.
std::string refusal(const std::string& status, const std::string& body) {
  return response(status,
                  "Content-Type: text/plain; charset=utf-8\r\nReferrer-Policy: no-referrer\r\n"
                  "X-Content-Type-Options: nosniff\r\nX-Frame-Options: DENY\r\nCache-Control: no-store\r\n",
                  body);
}

const std::string busy = refusal("503 Service Unavailable", "too many connections; try again later");

HTTPResponse echo(const HTTPRequest& request) {
  std::string text = request.method + " " + request.path;
  for (const auto& [key, value] : request.query) text += " " + key + "=" + value;
  return HTTPResponse::text(200, text + "\n" + request.body);
}

struct RunningServer : HTTPServer {
  explicit RunningServer(HTTPHandler handler = echo, HTTPServerLimits limits = {}, HTTPFailureLog failed = {})
      : HTTPServer("127.0.0.1", 0, std::move(handler), 1000, limits, std::move(failed)) {
    start();
  }
};

TEST(HTTPServer, PassesRequestsToItsHandlerAndSendsItsResponses) {
  RunningServer server;
  EXPECT_EQ(exchange(server.port(), "PUT /a?b=c&d HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody"),
            textResponse("200 OK", "PUT /a b=c d=\nbody"));
  EXPECT_EQ(exchange(server.port(), "GET / HTTP/1.0\r\n\r\nGET /more HTTP/1.0\r\n\r\n"),
            textResponse("200 OK", "GET /\n"))
      << "one request a connection";
  LoopbackClient slow(server.port());
  const std::string request = "POST /slow HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc";
  for (const char byte : request) {
    slow.send({&byte, 1});
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(slow.receive(), textResponse("200 OK", "POST /slow\nabc"));
}

TEST(HTTPServer, WritesItsOwnHeadersAndLeavesTheOthers) {
  HTTPResponse answer;
  RunningServer server([&answer](const HTTPRequest&) { return answer; });
  const auto said = [&](HTTPResponse given, const std::string& method = "GET") {
    answer = std::move(given);
    return exchange(server.port(), method + " / HTTP/1.1\r\n\r\n");
  };
  EXPECT_EQ(said({299, {{"content-length", "7"}, {"Connection", "keep-alive"}, {"SERVER", "x"}, {"X", "y"}}, "abc"}),
            response("299 Status", "X: y\r\nCache-Control: no-store\r\n", "abc"));
  EXPECT_EQ(said({204, {{"cache-control", "max-age=5"}}, ""}),
            response("204 No Content", "cache-control: max-age=5\r\n", ""));
  EXPECT_EQ(
      said(HTTPResponse::json(201, "{}")),
      response("201 Created", "Content-Type: application/json; charset=utf-8\r\nCache-Control: no-store\r\n", "{}"));
  EXPECT_EQ(
      said(HTTPResponse::html(402, "<p>")),
      response("402 Payment Required", "Content-Type: text/html; charset=utf-8\r\nCache-Control: no-store\r\n", "<p>"));
  const std::string whole = textResponse("200 OK", "abc");
  EXPECT_EQ(said(HTTPResponse::text(200, "abc"), "HEAD"), whole.substr(0, whole.size() - 3));
}

TEST(HTTPServer, AFailureOfTheHandlerIsKeptFromTheClient) {
  std::string message;
  RunningServer server(
      [](const HTTPRequest& request) -> HTTPResponse {
        if (request.path == "/number") throw 7;
        if (request.path == "/header") return {200, {{"X", "a\r\nSet-Cookie: b"}}, ""};
        throw std::runtime_error("the password is 1234");
      },
      {}, [&message](std::string_view what) { message = what; });
  const std::string failed = refusal("500 Internal Server Error", "internal server error");
  EXPECT_EQ(exchange(server.port(), hello), failed);
  EXPECT_EQ(message, "the password is 1234");
  EXPECT_EQ(exchange(server.port(), "GET /number HTTP/1.1\r\n\r\n"), failed);
  EXPECT_EQ(exchange(server.port(), "GET /header HTTP/1.1\r\n\r\n"), failed);
}

TEST(HTTPServer, RefusesWithoutCallingTheHandler) {
  std::atomic<int> calls = 0;
  HTTPServerLimits limits;
  limits.closing = 30s;  // a loaded machine needs time for the large body
  RunningServer server(
      [&calls](const HTTPRequest& request) {
        ++calls;
        return HTTPResponse::text(200, std::to_string(request.body.size()));
      },
      limits);
  EXPECT_EQ(exchange(server.port(), "GET /\r\n\r\n"), refusal("400 Bad Request", "the request line is malformed"));
  EXPECT_EQ(exchange(server.port(), "POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab"),
            refusal("400 Bad Request", "there are several Content-Length lines"));
  EXPECT_EQ(exchange(server.port(), "\x16\x03\x01\r\n\r\n"),
            refusal("400 Bad Request", "the request line is malformed"));
  EXPECT_EQ(exchange(server.port(), "POST / HTTP/1.1\r\nContent-Length: 1001\r\n\r\n"),
            refusal("413 Payload Too Large", "body too large"));
  EXPECT_EQ(
      exchange(server.port(), "POST / HTTP/1.1\r\nContent-Length: 30000000\r\n\r\n" + std::string(30'000'000, 'x')),
      refusal("413 Payload Too Large", "body too large"))
      << "sent to one that writes all of it before it reads";

  LoopbackClient unfinished(server.port());
  unfinished.send("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nab");
  unfinished.finish();
  EXPECT_EQ(unfinished.receive(), "");
  LoopbackClient endless(server.port());
  for (int line = 0; line < 10'000 && endless.trySend("GET / HTTP/1.1 xxxxxxx"); ++line) {
  }
  EXPECT_EQ(endless.receive(), "");
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(exchange(server.port(), "POST / HTTP/1.1\r\nContent-Length: 1000\r\n\r\n" + std::string(1000, 'x')),
            textResponse("200 OK", "1000"));
}

TEST(HTTPServer, AnswersAClientThatAsksWhetherToSendItsBody) {
  RunningServer server;
  LoopbackClient client(server.port());
  client.send("POST /a HTTP/1.1\r\nExpect: 100-Continue\r\nContent-Length: 4\r\n\r\n");
  EXPECT_EQ(client.receiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
  client.send("bo");
  client.send("dy");
  EXPECT_EQ(client.receive(), textResponse("200 OK", "POST /a\nbody"));
  EXPECT_EQ(exchange(server.port(), "POST /a HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\nbody"),
            textResponse("200 OK", "POST /a\nbody"))
      << "it did not wait";
  EXPECT_EQ(exchange(server.port(), "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1001\r\n\r\n"),
            refusal("413 Payload Too Large", "body too large"));
}

TEST(HTTPServer, AnswersTheExcessAtOnceAndServesAgainAfterwards) {
  HTTPServerLimits limits;
  limits.connections = 2;
  limits.crowded = limits.wait;
  RunningServer server(echo, limits);
  {
    LoopbackClient first(server.port());
    LoopbackClient second(server.port());
    first.send("GET ");
    second.send("GET ");
    std::vector<LoopbackClient> more(100);  // more than the server drains
    for (LoopbackClient& client : more) ASSERT_TRUE(client.connect(server.port()));
    for (LoopbackClient& client : more) EXPECT_EQ(client.receive(), busy);
    first.send("/1 HTTP/1.1\r\n\r\n");
    second.send("/2 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(first.receive(), textResponse("200 OK", "GET /1\n"));
    EXPECT_EQ(second.receive(), textResponse("200 OK", "GET /2\n"));
  }
  std::string answer = busy;  // until the server has noticed that they are gone
  while (answer == busy) answer = exchange(server.port(), hello);
  EXPECT_EQ(answer, textResponse("200 OK", "GET /hello\n"));
}

TEST(HTTPServer, WhoOnlyHoldsConnectionsKeepsNobodyOut) {
  HTTPServerLimits limits;
  limits.workers = 1;  // makes the order of silence deterministic
  limits.connections = 2;
  limits.wait = limits.request = 1h;
  limits.crowded = 0ms;
  RunningServer server(echo, limits);
  LoopbackClient silent(server.port());
  LoopbackClient half(server.port());
  half.send("GET ");
  std::string answer = busy;  // until the server has noticed that both wait
  while (answer == busy) answer = exchange(server.port(), hello);
  EXPECT_EQ(answer, textResponse("200 OK", "GET /hello\n"));
  EXPECT_EQ(silent.receive(), "") << "it waited for longest";
  half.send("/1 HTTP/1.1\r\n\r\n");
  EXPECT_EQ(half.receive(), textResponse("200 OK", "GET /1\n"));
}

TEST(HTTPServer, BodiesThatArriveShareABudget) {
  HTTPServerLimits limits;
  limits.bodyBytes = 1000;
  limits.smallBodyBytes = 100;
  RunningServer server(echo, limits);
  const auto begin = [&](LoopbackClient& client, std::size_t claimed, std::size_t sent) {
    client.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " + std::to_string(claimed) + "\r\n\r\n");
    EXPECT_EQ(client.receiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send(std::string(sent, 'x'));
  };
  const auto answerTo = [&](std::size_t size, std::chrono::milliseconds pause = {}) {
    LoopbackClient client(server.port());
    begin(client, size, size - 1);
    std::this_thread::sleep_for(pause);
    client.send("x");
    return client.receive();
  };
  const auto echoed = [](std::size_t size) { return textResponse("200 OK", "POST /\n" + std::string(size, 'x')); };
  for (int round = 0; round < 3; ++round) {  // the budget is released for the next round
    LoopbackClient claiming(server.port());
    begin(claiming, 1000, 1);
    EXPECT_EQ(answerTo(1000), echoed(1000)) << "a claim takes nothing from others";
    // The server may read the two in any order and any pieces unless separated in time.
    std::string answer = echoed(300);
    for (std::chrono::milliseconds pause(5); answer == echoed(300); pause *= 2) {
      LoopbackClient first(server.port());
      begin(first, 1000, 950);
      std::this_thread::sleep_for(pause);
      answer = answerTo(300, pause);
      if (answer == echoed(300)) continue;
      EXPECT_EQ(answerTo(100), echoed(100)) << "small ones always pass";
      first.send(std::string(50, 'x'));
      EXPECT_EQ(first.receive(), echoed(1000));
    }
    EXPECT_EQ(answer, refusal("503 Service Unavailable", "too many large requests; try again later"));
    EXPECT_EQ(answerTo(1000), echoed(1000));
  }
}

TEST(HTTPServer, SlowClientsHoldNoWorkerAndAreLeft) {
  HTTPServerLimits limits;
  limits.workers = 1;
  limits.wait = 500ms;
  limits.request = 2s;
  const std::string large(30'000'000, 'x');
  RunningServer server(
      [&large](const HTTPRequest& request) {
        return HTTPResponse::text(200, request.path == "/large" ? large : "small");
      },
      limits);
  LoopbackClient idle(server.port());
  LoopbackClient half(server.port());
  half.send("GET /");
  LoopbackClient deaf(server.port());
  deaf.send("GET /large HTTP/1.1\r\n\r\n");
  deaf.receiveUntil("\r\n\r\n");
  LoopbackClient dripping(server.port());
  dripping.send("POST / HTTP/1.1\r\nContent-Length: 900\r\n\r\n");
  EXPECT_EQ(exchange(server.port(), hello), textResponse("200 OK", "small"));

  EXPECT_EQ(idle.receive(), "");
  EXPECT_EQ(half.receive(), "");
  int drips = 0;
  while (drips < 800 && dripping.trySend("x")) {  // never too long a pause
    ++drips;
    std::this_thread::sleep_for(50ms);
  }
  EXPECT_LT(drips, 800) << "the request as a whole took too long";
  EXPECT_LT(deaf.receive().size(), large.size());
}

TEST(HTTPServer, StoppingFinishesWhatRunsAndLeavesWhatWaits) {
  std::latch running(1);
  std::promise<void> released;
  const std::string large(5'000'000, 'x');
  HTTPServerLimits limits;
  limits.wait = limits.request = 1h;  // only stop() ends a connection
  RunningServer server(
      [&](const HTTPRequest&) {
        running.count_down();
        released.get_future().wait();
        return HTTPResponse::text(200, large);
      },
      limits);
  const auto port = server.port();
  LoopbackClient waiting(port);
  waiting.send("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n");
  LoopbackClient served(port);
  served.send(hello);
  running.wait();
  std::thread stopping([&server] { server.stop(); });
  EXPECT_EQ(waiting.receive(), "");
  LoopbackClient late;
  EXPECT_FALSE(late.connect(port)) << "nobody listens any more";
  released.set_value();
  EXPECT_TRUE(served.receive() == textResponse("200 OK", large));
  stopping.join();
}

TEST(HTTPServer, LeaksNoDescriptorsAndSurvivesClientsThatGo) {
  const auto before = openDescriptors();
  {
    const std::string large(1'000'000, 'x');
    RunningServer server([&large](const HTTPRequest&) { return HTTPResponse::text(200, large); });
    const auto whileRunning = openDescriptors();
    const std::string requests[]{hello, "GET", "bad\r\n\r\n", "", hello};
    for (int round = 0; round < 500; ++round) {
      LoopbackClient client(server.port());
      client.send(requests[round % 5]);
      if (round % 5 == 4) client.receiveUntil("\r\n\r\n");
      if (round % 2 == 0) client.reset();
    }
    EXPECT_EQ(exchange(server.port(), hello), textResponse("200 OK", large));
    server.stop();
    server.start();
    EXPECT_EQ(openDescriptors(), whileRunning);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(HTTPServer, SaysWhyItCannotStartAndCanStartAgain) {
  RunningServer first;
  const auto before = openDescriptors();
  const auto failure = [](const std::string& host, std::uint16_t port) {
    HTTPServer server(host, port, echo);
    return messageOf<ListeningError>([&] { server.start(); });
  };
  EXPECT_EQ(failure("localhost", 0), "not an IPv4 address: localhost");
  EXPECT_EQ(failure("127.0.0.1", first.port()), "bind() failed: Address already in use");
  EXPECT_EQ(failure("192.0.2.1", 0), "bind() failed: Cannot assign requested address");
  EXPECT_EQ(openDescriptors(), before);

  HTTPServer second("0.0.0.0", 0, echo);
  for (int round = 0; round < 3; ++round) {
    second.stop();
    EXPECT_EQ(second.port(), 0);
    second.start();
    EXPECT_EQ(exchange(second.port(), hello), textResponse("200 OK", "GET /hello\n"));
  }
}

TEST(HTTPServer, ServesManyAtOnce) {
  RunningServer server;
  std::vector<std::thread> clients;
  std::atomic<int> wrong = 0;
  for (int client = 0; client < 8; ++client) {
    clients.emplace_back([&server, &wrong, client] {
      for (int round = 0; round < 100; ++round) {
        const std::string path = "/" + std::to_string(client) + "/" + std::to_string(round);
        const auto answer = exchange(server.port(), "GET " + path + " HTTP/1.1\r\n\r\n");
        if (answer != textResponse("200 OK", "GET " + path + "\n")) ++wrong;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace tidra
