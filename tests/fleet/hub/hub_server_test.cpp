#include "fleet/hub/hub_server.h"

#include <zlib.h>

#include <filesystem>

#include "fleet/agent/policy/example_policies.h"
#include "fleet/hub/hub_router.h"
#include "tests/fleet/hub/server_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

HubTokens tokens(Texts agent, Texts admin) { return {.agent = std::move(agent), .admin = std::move(admin)}; }

std::string unpacked(const std::string& packed) {
  std::string bytes(1 << 22, '\0');
  z_stream stream{};
  EXPECT_EQ(::inflateInit2(&stream, MAX_WBITS + 16), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  EXPECT_EQ(::inflate(&stream, Z_FINISH), Z_STREAM_END);
  bytes.resize(stream.total_out);
  ::inflateEnd(&stream);
  return bytes;
}

TEST_F(HubServerTest, EachRouteIsOpenToItsScopeAndNobodyElse) {
  struct Access {
    bool nobody, agent, admin;
  };
  struct Setting {
    HubTokens tokens;
    Access agentScope, adminScope;
    const char* authRequired;
  };
  const Setting settings[] = {
      {tokens({}, {}), {true, true, true}, {true, true, true}, "false"},
      {tokens({""}, {""}), {true, true, true}, {true, true, true}, "false"},
      {tokens({"agent"}, {}), {false, true, false}, {true, true, true}, "true"},
      {tokens({}, {"admin"}), {false, false, true}, {false, false, true}, "true"},
      {tokens({"agent"}, {"admin"}), {false, true, true}, {false, false, true}, "true"},
      {tokens({"old", "agent"}, {"old2", "admin"}), {false, true, true}, {false, false, true}, "true"},
  };
  for (const Setting& setting : settings) {
    open(setting.tokens);
    const auto info = parseJson(get("/api/v1/info").body, "info");
    EXPECT_EQ(info["authRequired"], setting.authRequired);
    for (const HubRoute& route : hubRoutes()) {
      std::string path(route.path);
      for (auto star = path.find('*'); star != std::string::npos; star = path.find('*')) path.replace(star, 1, "x");
      const std::string method(route.method.empty() ? "GET" : route.method);
      const Access open{true, true, true};
      const Access expected = route.scope == HubScope::none    ? open
                              : route.scope == HubScope::agent ? setting.agentScope
                                                               : setting.adminScope;
      const auto isAdmitted = [&](const char* token) {
        const auto response = ask(method, path, {.token = token});
        if (response.status != 401) return true;
        EXPECT_EQ(refusalOf(response),
                  route.scope == HubScope::agent ? "401 agent token required" : "401 admin token required");
        EXPECT_TRUE(response.headers.contains("WWW-Authenticate"));
        return false;
      };
      EXPECT_EQ(isAdmitted(""), expected.nobody) << method << path;
      EXPECT_EQ(isAdmitted("agent"), expected.agent) << method << path;
      EXPECT_EQ(isAdmitted("admin"), expected.admin) << method << path;
      EXPECT_EQ(isAdmitted("agenT"), expected.nobody) << method << path;
      EXPECT_EQ(isAdmitted("admin2"), expected.nobody) << method << path;
    }
  }
}

TEST_F(HubServerTest, TakesTheTokenFromTheHeaderBeforeTheQuery) {
  open(tokens({}, {"x y"}));
  const auto statusWith = [&](const std::string& header, const std::string& parameter) {
    HTTPHeaders headers;
    if (!header.empty()) headers["authorization"] = header;
    std::map<std::string, std::string> query;
    if (!parameter.empty()) query["token"] = parameter;
    return hub_->handle({"GET", "/api/v1/summary", query, headers, {}}).status;
  };
  EXPECT_EQ(statusWith("Bearer  x y ", ""), 200);
  EXPECT_EQ(statusWith("bEARER x y", ""), 200);
  EXPECT_EQ(statusWith("", "x y"), 200);
  EXPECT_EQ(statusWith("Basic abc", "x y"), 200) << "not a bearer's";
  EXPECT_EQ(statusWith("Bearer wrong", "x y"), 401) << "the header counts";
  EXPECT_EQ(statusWith("Bearer ", "x y"), 401);
  EXPECT_EQ(statusWith("x y", ""), 401);
  EXPECT_EQ(statusWith("Bearer", ""), 401);
}

TEST_F(HubServerTest, RefusesWhatIsNotThereOrNotAllowed) {
  for (const char* path : {"/api/v1", "/api/v1/", "/api/v1/nope", "/api/v1/hosts/a/b", "/api/v1/report/x",
                           "/api/v1/hosts/a/note/", "//api//v1//nope", "/%61pi/v1/nope"})
    EXPECT_EQ(refusalOf(get(path)), "404 not found") << path;
  for (const char* method : {"GET", "PATCH", "get"})
    EXPECT_EQ(refusalOf(ask(method, "/api/v1/report")), "404 not found") << method;
  EXPECT_EQ(refusalOf(ask("POST", "/api/v1/summary")), "404 not found");
  for (const char* path : {"/nope", "/api", "/api/v2/hosts", "/index.html", "/metrics/x", "*"}) {
    const auto response = get(path);
    EXPECT_EQ(response.status, 404) << path;
    EXPECT_EQ(response.body, "not found\n");
    EXPECT_EQ(response.headers.at("Content-Type"), "text/plain; charset=utf-8");
  }
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH"}) {
    const auto response = ask(method, "/");
    EXPECT_EQ(response.status, 405) << method;
    EXPECT_EQ(response.body, "method not allowed");
    EXPECT_EQ(response.headers.at("Allow"), "GET, HEAD");
    EXPECT_EQ(ask(method, "/healthz", {.token = {}, .body = {}, .headers = {}}).body, "ok\n") << method;
  }
  EXPECT_EQ(get("/healthz").headers.at("Content-Type"), "text/plain; charset=utf-8");
  for (const char* path : {"/api/v1/hosts", "/nope", "/metrics", "*"}) {
    const auto response = ask("OPTIONS", path);
    EXPECT_EQ(response.status, 204) << path;
    EXPECT_EQ(response.headers.at("Allow"), "GET, POST, PUT, DELETE, OPTIONS");
    EXPECT_EQ(response.body, "");
  }
  EXPECT_EQ(ask("HEAD", "/api/v1/summary"), get("/api/v1/summary"));
  EXPECT_EQ(ask("HEAD", "/metrics"), get("/metrics"));
  EXPECT_EQ(get("/metrics").headers.at("Content-Type"), "text/plain; version=0.0.4; charset=utf-8");
}

TEST_F(HubServerTest, EveryAnswerGuardsTheBrowserAndNoneOpensTheHubToOtherSites) {
  open(tokens({}, {"admin"}));
  for (const char* path : {"/", "/healthz", "/nope", "/metrics", "/api/v1/info", "/api/v1/hosts", "/api/v1/nope"}) {
    for (const char* method : {"GET", "POST", "OPTIONS"}) {
      const auto response = ask(method, path, {.token = {}, .body = {}, .headers = {{"origin", "https://evil"}}});
      EXPECT_EQ(response.headers.at("X-Content-Type-Options"), "nosniff") << method << path;
      EXPECT_EQ(response.headers.at("Referrer-Policy"), "no-referrer");
      EXPECT_EQ(response.headers.at("X-Frame-Options"), "DENY");
      for (const auto& header : response.headers) EXPECT_THAT(header.first, Not(StartsWith("Access-Control")));
    }
  }
}

TEST_F(HubServerTest, ServesThePageWithItsTitleEscaped) {
  open({}, R"(<b>"R&D" __TIDRA_VERSION__)");
  const auto page = get("/");
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.headers.at("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page.headers.at("Content-Security-Policy"),
            "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data:; "
            "connect-src 'self'");
  EXPECT_THAT(page.body, HasSubstr("<title>&lt;b&gt;&quot;R&amp;D&quot; __TIDRA_VERSION__</title>"));
  EXPECT_THAT(page.body, HasSubstr("Tidra 1.3.0"));
  EXPECT_THAT(page.body, Not(HasSubstr("__HUB_TITLE__")));
  EXPECT_EQ(ask("HEAD", "/"), page);
}

TEST_F(HubServerTest, WritesNeedAJsonContentType) {
  const std::string document(*ExamplePolicies::text("developer"));
  const auto statusWith = [&](const std::string& type) {
    HTTPHeaders headers;
    if (!type.empty()) headers["content-type"] = type;
    return ask("PUT", "/api/v1/policies/p", {.token = {}, .body = document, .headers = headers}).status;
  };
  for (const char* type : {"application/json", "Application/JSON; charset=utf-8", "application/merge-patch+json"})
    EXPECT_EQ(statusWith(type), 200) << type;
  for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "multipart/form-data; x=json",
                           "text/plain; a=application/json"})
    EXPECT_EQ(statusWith(type), 415) << type;
  const HTTPRequest plain{"POST", "/api/v1/report", {}, {}, HubJSON::compact(plainReport("a"))};
  EXPECT_EQ(refusalOf(hub_->handle(plain)), "415 the request must say Content-Type: application/json");
  EXPECT_EQ(hub_->handle({"DELETE", "/api/v1/policies/p", {}, {}, {}}).status, 200) << "has no body";
}

TEST_F(HubServerTest, PagesOfOtherSitesChangeNothingWithoutAToken) {
  report(plainReport("a"));
  const auto statusFrom = [&](const std::string& origin, const std::string& token = {}) {
    const HTTPHeaders headers{{"content-type", "application/json"}, {"origin", origin}};
    return ask("PUT", "/api/v1/hosts/a/note", {.token = token, .body = "a note", .headers = headers}).status;
  };
  for (const char* origin : {"http://localhost:9480", "http://127.0.0.1:9480", "http://[::1]:9480", "https://10.0.0.2"})
    EXPECT_EQ(statusFrom(origin), 200) << origin;
  for (const char* origin : {"http://rebound.example:9480", "http://127.0.0.1.example", "http://localhost.example",
                             "null", "", "file://", "http://a@127.0.0.1"})
    EXPECT_EQ(statusFrom(origin), 403) << origin;
  const HTTPHeaders headers{{"origin", "http://rebound.example:9480"}};
  EXPECT_EQ(ask("DELETE", "/api/v1/hosts/a", {.token = {}, .body = {}, .headers = headers}).status, 403);
  EXPECT_EQ(ask("GET", "/api/v1/hosts/a", {.token = {}, .body = {}, .headers = headers}).status, 200);
  open(tokens({"agent"}, {"admin"}));
  EXPECT_EQ(statusFrom("https://hub.example.org", "admin"), 200) << "the hub's own page behind a proxy";
  EXPECT_EQ(statusFrom("https://hub.example.org"), 401);
}

TEST_F(HubServerTest, ShowsTheDataFolderToAdministrators) {
  open(tokens({"agent"}, {"admin"}), "Berlin & more");
  const nlohmann::json open{{"name", "tidra-hub"},
                            {"version", "1.3.0"},
                            {"schema", "1"},
                            {"title", "Berlin & more"},
                            {"authRequired", "true"}};
  EXPECT_EQ(parseJson(get("/api/v1/info").body, "info"), open);
  EXPECT_EQ(parseJson(ask("GET", "/api/v1/info", {.token = "agent"}).body, "info"), open);
  const auto before = tree_.snapshot().size();
  auto info = parseJson(ask("GET", "/api/v1/info", {.token = "admin"}).body, "info");
  EXPECT_EQ(tree_.snapshot().size(), before);
  EXPECT_EQ(info["dataWritable"], "true");
  EXPECT_GT(std::atoll(info["dataAvailableBytes"].get<std::string>().c_str()), 0);
  EXPECT_GT(std::atoll(info["dataTotalBytes"].get<std::string>().c_str()), 0);
}

TEST_F(HubServerTest, AWriteThatFailsIsAnErrorAndChangesNothing) {
  report(plainReport("a"));
  open(tokens({}, {"admin"}));
  std::filesystem::remove_all(tree_.path("data/hosts"));
  const auto response =
      ask("POST", "/api/v1/report",
          {.token = "admin", .body = HubJSON::compact(plainReport("b")), .query = {{"token", "admin"}}});
  EXPECT_THAT(refusalOf(response), StartsWith("500 "));
  EXPECT_THAT(response.body, HasSubstr("hosts/b.json"));
  EXPECT_EQ(hub_->store().inventory().size(), 1U);
  EXPECT_THAT(logged().back(), StartsWith("warning: POST /api/v1/report failed: "));
  EXPECT_THAT(logged().back(), Not(HasSubstr("admin")));
}

TEST_F(HubServerTest, CompressesLongAnswersForThoseWhoTakeThem) {
  const auto plain = get("/");
  EXPECT_EQ(plain.headers.at("Vary"), "Accept-Encoding");
  for (const char* accepted : {"gzip", "deflate, GZIP;q=0.5", "*", "br;q=1, gzip"}) {
    const auto packed = hub_->handle({"GET", "/", {}, {{"accept-encoding", accepted}}, {}});
    ASSERT_EQ(packed.headers.at("Content-Encoding"), "gzip") << accepted;
    EXPECT_LT(packed.body.size(), plain.body.size() / 2);
    EXPECT_EQ(unpacked(packed.body), plain.body);
  }
  for (const char* accepted : {"", "identity", "gzip;q=0", "gzip; q=0.000", "*, gzip;q=0", "*;q=0", "gzipped"})
    EXPECT_EQ(hub_->handle({"GET", "/", {}, {{"accept-encoding", accepted}}, {}}), plain) << accepted;
  for (const char* path : {"/healthz", "/api/v1/info", "/nope"})
    EXPECT_EQ(hub_->handle({"GET", path, {}, {{"accept-encoding", "gzip"}}, {}}), get(path));
}

TEST_F(HubServerTest, ReadsTokenFilesOfOneOrTwoLines) {
  const auto read = [&](const std::string& text, unsigned mode = 0600) {
    return readHubTokens(tree_.writeFile("token", text, mode));
  };
  using Tokens = Texts;
  EXPECT_EQ(read("one"), Tokens{"one"});
  EXPECT_EQ(read("\n old \r\n\nnew\n"), (Tokens{"old", "new"}));
  const auto refused = [&](const std::string& text, unsigned mode = 0600) {
    return messageOf<InputError>([&] { read(text, mode); });
  };
  EXPECT_THAT(refused("a\nb\nc"), HasSubstr("holds 3 tokens"));
  EXPECT_THAT(refused(" \n"), HasSubstr("is empty"));
  EXPECT_THAT(refused("se\x01cret"), AllOf(HasSubstr("control character"), Not(HasSubstr("cret"))));
  EXPECT_THAT(refused("secret\xff"), HasSubstr("is not UTF-8 text"));
  EXPECT_THAT(refused("secret", 0644), HasSubstr("chmod 600"));
  EXPECT_THAT(messageOf<InputError>([&] { readHubTokens(tree_.path("none")); }), HasSubstr("does not exist"));
}

TEST_F(HubServerTest, ReportsItsStartAndReleasesThePort) {
  hub_->start();
  const auto port = hub_->port();
  EXPECT_NE(port, 0);
  EXPECT_EQ(rawValue(hub_->store().recentEvents(1).at(0).kind), "hubStarted");
  HubConfig config = hub_->config();
  config.port = port;
  config.dataDir = tree_.path("other");
  {
    HubServer second(config, [] { return noon; });
    EXPECT_THROW(second.start(), ListeningError);
    EXPECT_THAT(second.store().recentEvents(9), IsEmpty());
  }
  hub_->stop();
  HubServer second(config, [] { return noon; });
  second.start();
  EXPECT_EQ(second.port(), port);
}

}  // namespace
}  // namespace tidra
