#include "fleet/http/http_parser.h"

#include <gtest/gtest.h>

#include "fleet/http/http_client.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using namespace std::string_literals;
using State = HTTPRequestReader::State;

constexpr std::size_t mostBodyBytes = 10;

TEST(HTTPRequestReader, ReadsTheSameHoweverItArrives) {
  const std::string bytes =
      "POST /api/v1/a%20b?x=1&y=a%2Bb+c&&flag&x=2&bad=%zz&=e HTTP/1.1\r\nHost: hub:1\r\nX-A: \t one \r\nx-a:two\r\n"
      "Empty:\r\nContent-Length: 5\r\n\r\na\0\r\nb"s;
  const HTTPRequest expected{
      "POST",
      "/api/v1/a%20b",
      {{"x", "2"}, {"y", "a+b c"}, {"flag", ""}, {"bad", "%zz"}, {"", "e"}},
      {{"host", "hub:1"}, {"x-a", "one, two"}, {"empty", ""}, {"content-length", "5"}},
      "a\0\r\nb"s,
  };
  for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
    HTTPRequestReader reader(mostBodyBytes);
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      EXPECT_TRUE(reader.state() == State::head || reader.state() == State::body);
      reader.add(std::string_view(bytes).substr(at, piece));
    }
    ASSERT_EQ(reader.state(), State::complete) << piece;
    EXPECT_EQ(reader.request(), expected) << piece;
    EXPECT_FALSE(reader.hasSurplus());
  }
  HTTPRequestReader reader(mostBodyBytes);
  EXPECT_EQ(reader.add(bytes + "GET / HTTP/1.1\r\n\r\n"), State::complete);
  EXPECT_EQ(reader.request(), expected);
  EXPECT_TRUE(reader.hasSurplus());
}

TEST(HTTPRequestReader, RefusesWhatCouldBeReadInTwoWays) {
  const std::map<std::string, std::vector<std::string>> headsByReason{
      {"the request line is malformed",
       {"", "GET", "GET /", "GET  / HTTP/1.1", "GET / HTTP/1.1 ", " GET / HTTP/1.1", "GET /a b HTTP/1.1",
        "GET /\0 HTTP/1.1"s, "GET /\t HTTP/1.1", "G(T / HTTP/1.1", "GET / HTTP/2.0", "GET / http/1.1",
        "GET / HTTP/1.10", "GET / HTTP/1.1\rX: y", "GET / HTTP/1.1\nX: y"}},
      {"a header line has no proper name",
       {"GET / HTTP/1.1\r\nno colon", "GET / HTTP/1.1\r\n: value", "GET / HTTP/1.1\r\nName : value",
        "GET / HTTP/1.1\r\nNa\0me: value"s}},
      {"a header value holds a control character",
       {"GET / HTTP/1.1\r\nA: b\nC: d", "GET / HTTP/1.1\r\nA: b\rC: d", "GET / HTTP/1.1\r\nA: b\0"s}},
      {"a header line is folded", {"GET / HTTP/1.1\r\nA: b\r\n c", "GET / HTTP/1.1\r\n\tc: d"}},
      {"there are several Host lines", {"GET / HTTP/1.1\r\nHost: a\r\nhost: a"}},
      {"there are several Content-Length lines", {"POST / HTTP/1.1\r\nContent-Length: 3\r\nContent-Length: 3"}},
      {"Content-Length is not a number",
       {"POST / HTTP/1.1\r\nContent-Length: 3, 3", "POST / HTTP/1.1\r\nContent-Length: +3",
        "POST / HTTP/1.1\r\nContent-Length: -3", "POST / HTTP/1.1\r\nContent-Length: 0x3",
        "POST / HTTP/1.1\r\nContent-Length:"}},
      {"Transfer-Encoding is not supported; send Content-Length",
       {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked",
        "POST / HTTP/1.1\r\nTransfer-Encoding: identity\r\nContent-Length: 3"}}};
  for (const auto& [reason, heads] : headsByReason) {
    for (const std::string& head : heads) {
      HTTPRequestReader reader(mostBodyBytes);
      EXPECT_EQ(reader.add(head + "\r\n\r\nabc"), State::refused) << head;
      EXPECT_EQ(reader.refusal(), HTTPResponse::text(400, reason)) << head;
    }
  }
}

TEST(HTTPRequestReader, KeepsToItsLimits) {
  for (const std::string tooMuch : {"11", "99999999999999999999999999"}) {
    HTTPRequestReader reader(mostBodyBytes);
    EXPECT_EQ(reader.add("PUT / HTTP/1.1\r\nContent-Length: " + tooMuch + "\r\n\r\n"), State::refused);
    EXPECT_EQ(reader.refusal(), HTTPResponse::text(413, "body too large"));
  }
  const std::string start = "GET / HTTP/1.1\r\nX: ";
  const std::string longest = start + std::string(HTTPRequestReader::mostHeadBytes - start.size(), 'x');
  EXPECT_EQ(HTTPRequestReader(mostBodyBytes).add(longest + "\r\n\r\n"), State::complete);
  EXPECT_EQ(HTTPRequestReader(mostBodyBytes).add(longest + "x\r\n\r\n"), State::overlong);
  EXPECT_EQ(HTTPRequestReader(mostBodyBytes).add(longest), State::head);
  EXPECT_EQ(HTTPRequestReader(mostBodyBytes).add(longest + "x"), State::overlong);
}

TEST(HTTPResponseParsing, TakesWhatServersSend) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::vector<std::pair<std::string, HTTPClientResponse>> cases{
      {ok + "\r\n", {200, {}, ""}},
      {"HTTP/1.0  404\r\n\r\nabc\r\n\r\n", {404, {}, "abc\r\n\r\n"}},
      {"x +299\r\n\r\n", {299, {}, ""}},
      {ok + "X-A:  b:c \r\nno colon\r\nx-A: d\r\n\r\nabc", {200, {{"x-a", "b:c, d"}}, "abc"}},
      {ok + "Content-Length: 2\r\n\r\nabc", {200, {{"content-length", "2"}}, "ab"}},
      {ok + "Content-Length: 9\r\n\r\nabc", {200, {{"content-length", "9"}}, "abc"}},
      {ok + "Content-Length: -1\r\n\r\nabc", {200, {{"content-length", "-1"}}, "abc"}},
      {ok + "Transfer-Encoding: gzip, Chunked\r\nContent-Length: 1\r\n\r\n3;x=y\r\nabc\r\n0A \r\n0123456789\r\n0\r\n"
            "Trailer: x\r\n\r\n",
       {200, {{"transfer-encoding", "gzip, Chunked"}, {"content-length", "1"}}, "abc0123456789"}},
  };
  for (const auto& [bytes, expected] : cases) EXPECT_EQ(parseResponse(bytes), expected) << bytes;
}

TEST(HTTPResponseParsing, CallsTheRestMalformed) {
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (const std::string& bytes :
       {""s, "HTTP/1.1 200 OK\r\n"s, "HTTP/1.1\r\n\r\n"s, "HTTP/1.1 \r\n\r\n"s, "HTTP/1.1 OK\r\n\r\n"s,
        "HTTP/1.1 200x OK\r\n\r\n"s, "HTTP/1.1 99999999999 OK\r\n\r\n"s, chunked, chunked + "3", chunked + "\r\n",
        chunked + "x\r\n", chunked + "-1\r\n", chunked + "3\r\nab", chunked + "3\r\nabcd\r\n0\r\n",
        chunked + "3\r\nabc\r\n", chunked + "ffffffffffffffff\r\nabc\r\n",
        chunked + "1ffffffffffffffff\r\na\r\n0\r\n"}) {
    EXPECT_EQ(messageOf<HTTPClientError>([&] { parseResponse(bytes); }), "malformed HTTP response") << bytes;
  }
}

TEST(HTTPResponseParsing, TakesTheHeadersOfTheLastHead) {
  EXPECT_EQ(
      lastHeaders("HTTP/1.1 200 Connection established\r\nVia: proxy\r\n\r\nHTTP/2 201\r\nX-A: b\r\nx-a: c\r\n\r\n"),
      (HTTPHeaders{{"x-a", "b, c"}}));
  EXPECT_EQ(lastHeaders(""), HTTPHeaders{});
}

}  // namespace
}  // namespace tidra
