// The responses of the API's routes.
#include "fleet/agent/policy/example_policies.h"
#include "fleet/hub/host_listing.h"
#include "tests/fleet/hub/server_fixture.h"
#include "tests/support/effort.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

constexpr std::string_view jsonType = "application/json; charset=utf-8";

TEST_F(HubServerTest, FilesReportsAndSaysSo) {
  auto busy = busyReport("web/01");
  busy.disposedBytes = 5 * 1024 * 1024;
  const auto response = report(busy);
  EXPECT_EQ(response.headers.at("Content-Type"), jsonType);
  const auto ack = HubJSON::decode<HubAck>(response.body, "ack");
  EXPECT_TRUE(ack.accepted);
  EXPECT_EQ(ack.host, "web/01");
  EXPECT_EQ(ack.hostsKnown, 1);
  busy.host = "web\n02";
  busy.dryRun = true;
  busy.plannedBytes = 3 * 1024 * 1024;
  EXPECT_EQ(HubJSON::decode<HubAck>(report(busy).body, "ack").hostsKnown, 2);
  EXPECT_THAT(logged(), ElementsAre("report from web/01: 1 findings, 5 MB removed",
                                    R"(report from web\n02: 1 findings, 3 MB would be removed (dry run))"));
  // The file name collides with the first host's.
  const auto refused = report(plainReport("web_01"));
  EXPECT_EQ(refused.status, 200);
  const auto refusal = HubJSON::decode<HubAck>(refused.body, "ack");
  EXPECT_FALSE(refusal.accepted);
  EXPECT_EQ(refusal.hostsKnown, 2);
  EXPECT_THAT(refusal.message, HasSubstr("'web_01' cannot be filed"));
}

TEST_F(HubServerTest, RefusesBadReports) {
  const auto refused = [&](const std::string& body) {
    return refusalOf(ask("POST", "/api/v1/report", {.token = {}, .body = body}));
  };
  EXPECT_EQ(refused(R"({"host": ""})"), "400 bad host name");
  EXPECT_EQ(refused(R"({"host": ")" + std::string(254, 'a') + "\"}"), "400 bad host name");
  std::string wide;
  for (int i = 0; i < 253; ++i) wide += "ä";
  for (const std::string& host : {std::string(253, 'a'), wide}) EXPECT_EQ(report(plainReport(host)).status, 200);
  // The faults of a report are cases of its own tests.
  for (const std::string& body : {std::string(), std::string("[]"), std::string(R"({"host": "a", "findings": "x"})"),
                                  std::string("{\"host\": \"a\"}\0x", 16), R"({"host": )" + std::string(100'000, '{')})
    EXPECT_THAT(refused(body), StartsWith("400 bad report: report")) << body.substr(0, 60);
  EXPECT_EQ(hub_->store().inventory().size(), 2U);
  // The last of repeated keys wins, as everywhere.
  EXPECT_EQ(ask("POST", "/api/v1/report", {.token = {}, .body = R"({"host": "b", "host": "c"})"}).status, 200);
  EXPECT_TRUE(hub_->store().find("c", noon));
}

TEST_F(HubServerTest, KeepsPoliciesByteForByte) {
  const std::string document = " " + std::string(*ExamplePolicies::text("agent-host")) + "\n\n";
  const auto stored = put("/api/v1/policies/Web-1_a.b", document);
  EXPECT_EQ(stored.body, R"({"name":"Web-1_a.b","ok":true})");
  const auto read = get("/api/v1/policies/Web-1_a.b");
  EXPECT_EQ(read.body, document);
  EXPECT_EQ(read.headers.at("Content-Type"), jsonType);
  EXPECT_EQ(get("/api/v1/policies").body, R"({"policies":["Web-1_a.b"]})");
  for (const char* name : {"web%20servers", "%2e%2e%2fx", "a%0A", "a%00b", "%C3%A4", "a%2Fb"}) {
    const auto refusal = refusalOf(put(std::string("/api/v1/policies/") + name, document));
    EXPECT_THAT(refusal, StartsWith("400 '"));
    EXPECT_THAT(refusal, HasSubstr("' is not a valid policy name (letters, digits, - _ . only)"));
    EXPECT_EQ(refusalOf(ask("DELETE", std::string("/api/v1/policies/") + name)), refusal);
    EXPECT_THAT(refusalOf(get(std::string("/api/v1/policies/") + name)), StartsWith("404 no policy '"));
  }
  EXPECT_EQ(refusalOf(put("/api/v1/policies/p", R"({"autoClean": {"minIdleDays": -1}})")),
            "400 invalid policy: Invalid policy: autoClean.minIdleDays must be >= 0.");
  for (const std::string& body : {std::string("{"), std::string(100'000, '['), std::string("\xff"), std::string()})
    EXPECT_THAT(refusalOf(put("/api/v1/policies/p", body)), StartsWith("400 invalid policy: ")) << body.substr(0, 9);
  EXPECT_EQ(refusalOf(get("/api/v1/policies/p")), "404 no policy 'p'");
  EXPECT_EQ(refusalOf(ask("DELETE", "/api/v1/policies/p")), "404 no policy 'p'");
  EXPECT_EQ(ask("DELETE", "/api/v1/policies/Web-1_a.b").body, R"({"name":"Web-1_a.b","ok":true})");
  EXPECT_EQ(get("/api/v1/policies").body, R"({"policies":[]})");
}

TEST_F(HubServerTest, ShowsHostsWhoseNamesHoldAnything) {
  for (const char* name : {"web/01", "..", "a b", "100%", "ü"}) report(busyReport(name));
  now_ = noon + std::chrono::seconds{60};
  for (const auto& [path, name] :
       rowsOf("web%2F01 => web/01 | %2E%2E => .. | a%20b => a b | 100%25 => 100% | 100% => 100% | %c3%bc => ü")) {
    const auto response = get("/api/v1/hosts/" + path);
    EXPECT_EQ(response.body, HubJSON::compact(*hub_->store().record(name, now_))) << path;
  }
  EXPECT_EQ(refusalOf(get("/api/v1/hosts/web/01")), "404 not found");
  EXPECT_EQ(refusalOf(get("/api/v1/hosts/nope")), "404 unknown host");
  EXPECT_EQ(refusalOf(ask("DELETE", "/api/v1/hosts/nope")), "404 unknown host");
  EXPECT_EQ(refusalOf(put("/api/v1/hosts/nope/note", "x")), "404 unknown host");

  EXPECT_EQ(put("/api/v1/hosts/web%2F01/note", "  two\nlines ").body, R"({"ok":true})");
  EXPECT_EQ(hub_->store().find("web/01", now_)->file->note, "two\nlines");
  EXPECT_EQ(put("/api/v1/hosts/web%2F01/note", " \n").status, 200);
  EXPECT_EQ(hub_->store().find("web/01", now_)->file->note, std::nullopt);
  EXPECT_EQ(ask("DELETE", "/api/v1/hosts/web%2F01").body, R"({"ok":true})");
  EXPECT_EQ(get("/api/v1/hosts/web%2F01").status, 404);
  EXPECT_EQ(logged().back(), "host 'web/01' removed");
}

TEST_F(HubServerTest, ListsHostsInParts) {
  for (int i = 0; i < 5; ++i) report(busyReport("h" + std::to_string(i)));
  auto mac = plainReport("mac");
  mac.platform = TidraPlatform::macOS;
  report(mac);
  put("/api/v1/hosts/mac/note", "in the Cellar");
  const auto names = [&](std::map<std::string, std::string> query, const std::string& total) {
    const auto response = get("/api/v1/hosts", std::move(query));
    EXPECT_EQ(response.headers.at("X-Total-Count"), total);
    std::string all;
    const auto listing = parseJson(response.body, "hosts");
    for (const auto& row : listing["hosts"]) all += row["host"].get<std::string>() + " ";
    return all;
  };
  EXPECT_EQ(names({}, "6"), "h0 h1 h2 h3 h4 mac ");
  EXPECT_EQ(names({{"limit", "2"}, {"offset", "3"}}, "6"), "h3 h4 ");
  EXPECT_EQ(names({{"limit", "0"}}, "6"), "");
  EXPECT_EQ(names({{"offset", "99"}}, "6"), "");
  EXPECT_EQ(names({{"q", "RACK"}, {"limit", "1"}}, "5"), "h0 ") << "a tag";
  EXPECT_EQ(names({{"q", "cellar"}}, "1"), "mac ") << "a note";
  EXPECT_EQ(names({{"status", "healthy"}}, "1"), "mac ");
  EXPECT_EQ(names({{"platform", "linux"}, {"status", "attention"}, {"offset", "4"}}, "5"), "h4 ");

  const auto whole = parseJson(get("/api/v1/hosts").body, "hosts")["hosts"][0];
  EXPECT_EQ(whole["history"].size(), 1U);
  EXPECT_EQ(whole["latest"]["topItems"].size(), 2U);
  auto slim = whole;
  slim.erase("history");
  slim["latest"].erase("topItems");
  EXPECT_EQ(parseJson(get("/api/v1/hosts", {{"history", "0"}, {"topItems", "0"}}).body, "hosts")["hosts"][0], slim);

  using Query = std::map<std::string, std::string>;
  for (const auto& [query, what] : std::vector<std::pair<Query, std::string>>{
           {{{"limit", "x"}}, "limit is 'x'; it must be a whole number, such as 0 or 25"},
           {{{"limit", std::string("1\0", 2)}}, "limit is '1\\x00'; it must be a whole number, such as 0 or 25"},
           {{{"limit", ""}}, "limit is ''; it must be a whole number, such as 0 or 25"},
           {{{"offset", "-1"}}, "offset is '-1'; it must be a whole number, such as 0 or 25"},
           {{{"history", "no"}}, "history is 'no'; it must be 0 or 1"},
           {{{"topItems", ""}}, "topItems is ''; it must be 0 or 1"},
           {{{"status", "bad"}}, "status is 'bad'; it must be one of healthy, attention, stale"},
           {{{"platform", "Linux"}}, "platform is 'Linux'; it must be one of macos, linux"}}) {
    EXPECT_EQ(refusalOf(get("/api/v1/hosts", query)), "400 the parameter " + what);
  }
}

TEST_F(HubServerTest, AListingThatNoClientCouldTakeIsRefused) {
  report(plainReport("small"));
  const auto hosts = hub_->store().select({}, noon).hosts;
  const auto whole = get("/api/v1/hosts").body;
  EXPECT_EQ(hostListingText(hosts, {}, whole.size()), whole);
  EXPECT_EQ(hostListingText(hosts, {}, whole.size() - 1), std::nullopt);
  auto wordy = plainReport("wordy");
  wordy.runID = std::string(65'000, 'x');
  EXPECT_EQ(refusalOf(report(wordy)), "400 bad report: without its top items it is longer than 65536 bytes");
  const HubTopItem item{.path = "/a", .label = std::string(35'000, 'x'), .category = "c", .ruleID = {}, .idleDays = {}};
  auto large = plainReport("a");
  large.topItems.assign(201, item);
  EXPECT_EQ(refusalOf(report(large)), "400 bad report: it holds 201 top items; 200 are the most");
  if (effort(1, 0) == 0) return;  // takes minutes there
  large.topItems.pop_back();
  for (char name = 'a'; name <= 'i'; ++name) {
    large.host = name;
    ASSERT_EQ(report(large).status, 200);
  }
  EXPECT_THAT(refusalOf(get("/api/v1/hosts", {{"history", "0"}})), StartsWith("400 the listing is longer than 60 MiB"));
  EXPECT_EQ(get("/api/v1/hosts", {{"limit", "7"}}).status, 200);
  EXPECT_EQ(get("/api/v1/hosts", {{"history", "0"}, {"topItems", "0"}}).status, 200);
}

TEST_F(HubServerTest, ExportsATableWithoutFormulas) {
  auto hostile = plainReport("=cmd|' /C calc'!A0");
  hostile.policyName = " ＠SUM(1)";
  hostile.tidraVersion = "+1";
  hostile.tags = {{"-a", "b\"c"}};
  hostile.findings = -3;
  report(hostile);
  put("/api/v1/hosts/" + std::string("%3Dcmd%7C%27%20%2FC%20calc%27%21A0") + "/note", "one,\r\ntwo");
  const auto response = get("/api/v1/hosts.csv", {{"status", "healthy"}});
  EXPECT_EQ(response.headers.at("Content-Type"), "text/csv; charset=utf-8; header=present");
  EXPECT_EQ(response.headers.at("X-Total-Count"), "1");
  EXPECT_EQ(response.body,
            "host,status,statusReasons,platform,policy,version,dryRun,firstSeen,lastSeen,reports,findings,"
            "reclaimableBytes,disposedBytes,failures,disposedBytesTotal,quarantineBytes,volumeTotalBytes,"
            "volumeAvailableBytes,tags,note,freedBytes,freedBytesTotal\r\n"
            "'=cmd|' /C calc'!A0,healthy,,linux,' ＠SUM(1),'+1,false,2026-03-14T12:00:00Z,2026-03-14T12:00:00Z,1,-3,"
            "0,0,0,0,0,,,\"'-a=b\"\"c\",\"one,\r\ntwo\",,\r\n");
  EXPECT_EQ(get("/api/v1/hosts.csv", {{"limit", "x"}}).status, 400);
}

TEST_F(HubServerTest, ShowsTheNewestEvents) {
  for (int i = 0; i < 1050; ++i) {
    auto each = plainReport("h");
    each.disposedItems = i;
    report(each);
  }
  const auto shown = [&](std::map<std::string, std::string> query) {
    const auto events = parseJson(get("/api/v1/events", std::move(query)).body, "events")["events"];
    return events.empty() ? "none"
                          : std::to_string(events.size()) + " up to " + events.back()["message"].get<std::string>();
  };
  EXPECT_EQ(shown({}), "100 up to 1049 removed");
  EXPECT_EQ(shown({{"n", "3"}}), "3 up to 1049 removed");
  EXPECT_EQ(shown({{"n", "999999999"}}), "1000 up to 1049 removed");
  EXPECT_EQ(shown({{"n", "0"}}), "none");
  EXPECT_THAT(refusalOf(get("/api/v1/events", {{"n", "ten"}})), StartsWith("400 the parameter n is 'ten'"));
}

}  // namespace
}  // namespace tidra
