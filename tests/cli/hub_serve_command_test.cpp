#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "fleet/http/http_client.h"
#include "fleet/http/http_server.h"
#include "fleet/hub/hub_store.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class HubServeCommand : public CliTest {
 protected:
  /// Runs the hub until it has printed its address.
  ProgramRun serve(Texts options, const std::function<void(pid_t)>& meanwhile = {},
                   Environment environment = {}) const {
    Texts arguments{"hub", "serve", "--data", tree().path("hub"), "--listen", "127.0.0.1:0"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments, {.environment = std::move(environment), .onOutput = [&](pid_t program) {
                             if (meanwhile) meanwhile(program);
                             ::kill(program, SIGTERM);
                           }});
  }
  std::string secret(const std::string& name, const std::string& text, unsigned mode = 0600) const {
    return tree().writeFile(name, text, mode);
  }
};

TEST_F(HubServeCommand, ServesUntilItIsStopped) {
  tree().writeFile("hub/hosts/broken.json", "{");
  const auto served = serve({"--title", "Berlin"});
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_EQ(served.err, "");
  const auto lines = linesOf(served.out);
  ASSERT_EQ(lines.size(), 5U) << served.out;
  EXPECT_THAT(lines[0], StartsWith("warning: host file broken.json was left out and kept as it is: "));
  EXPECT_EQ(lines[1], "data folder " + tree().path("hub") + ": 0 hosts");
  EXPECT_THAT(lines[2], MatchesRegex("listening on 127\\.0\\.0\\.1:[1-9][0-9]*"));
  EXPECT_THAT(lines[3], MatchesRegex("dashboard on http://127\\.0\\.0\\.1:[1-9][0-9]*/"));
  EXPECT_EQ(lines[4], "stopped");
  EXPECT_TRUE(exists("hub/hosts/broken.json"));
}

TEST_F(HubServeCommand, WhatCannotBeUsedIsRefusedInOneSentence) {
  const auto refused = [&](Texts arguments, Environment environment = {}) {
    arguments.insert(arguments.begin(), {"hub", "serve"});
    const std::string message = CliTest::refused(arguments, {.environment = std::move(environment)});
    EXPECT_FALSE(exists("hub")) << message;
    return message;
  };
  const std::string data = tree().path("hub");
  const std::string file = tree().writeFile("file");
  EXPECT_THAT(refused({"--data", file}), HasSubstr("The data folder " + file + " cannot be used: "));
  for (const char* address :
       {"nope", "1.2.3.4", "1.2.3:80", "1.2.3.256:80", "localhost:x", "[::1]:80", "0.0.0.0:65536", ":"}) {
    EXPECT_THAT(refused({"--data", data, "--listen", address}), HasSubstr("is not an IPv4 address with a port; write"))
        << address;
  }
  const std::string open = secret("open", "secret", 0644);
  const std::string many = secret("many", "a\nb\nc");
  EXPECT_THAT(refused({"--data", data, "--admin-token-file", open}),
              AllOf(HasSubstr("chmod 600"), Not(HasSubstr("secret"))));
  EXPECT_THAT(refused({"--data", data, "--agent-token-file", many}), HasSubstr("holds 3 tokens"));
  EXPECT_THAT(refused({"--data", data, "--agent-token-file", many, "--agent-token", "x"}),
              HasSubstr("cannot be given together"));
  EXPECT_THAT(refused({"--data", data, "--admin-token", " "}), HasSubstr("--admin-token is empty; name a token"));
  EXPECT_THAT(refused({"--data", data}, {{"TIDRA_HUB_ADMIN_TOKEN", "a\nb"}}),
              HasSubstr("TIDRA_HUB_ADMIN_TOKEN holds a control character"));
  for (const char* seconds : {"0", "nan", "inf"})
    EXPECT_THAT(refused({"--data", data, "--stale-after", seconds}), HasSubstr("--stale-after"));
  EXPECT_THAT(refused({"--data", ""}), HasSubstr("An empty text is not a path"));
  tree().makeFolder("unloggable/events.jsonl");
  const auto sentence =
      AllOf(HasSubstr("The data folder "), HasSubstr("events.jsonl cannot be written: Is a directory"));
  EXPECT_THAT(run({"hub", "serve", "--data", tree().path("unloggable"), "--listen", "127.0.0.1:0"}),
              fails(2, testing::ResultOf(linesOf, ElementsAre(sentence))));
}

TEST_F(HubServeCommand, APortOrAFolderThatIsTakenIsRefused) {
  serve({}, [&](pid_t) {
    EXPECT_THAT(run({"hub", "serve", "--data", tree().path("hub"), "--listen", "127.0.0.1:0"}),
                fails(75, HasSubstr("another hub uses the data folder")));
  });
  HTTPServer taken("127.0.0.1", 0, [](const HTTPRequest&) { return HTTPResponse(); });
  taken.start();
  const std::string address = "127.0.0.1:" + std::to_string(taken.port());
  EXPECT_THAT(run({"hub", "serve", "--data", tree().path("hub"), "--listen", address}),
              fails(2, "tidra: The hub cannot listen on " + address +
                           ": bind() failed: Address already in use; choose another address with --listen.\n"));
}

/// The URL in the hub's start event.
std::string urlOf(const std::string& data) {
  const auto events = EventLog(data + "/events.jsonl").recent(1);
  const std::string message = events.at(0).message;
  return "http://127.0.0.1:" + message.substr(message.rfind(':') + 1);
}

TEST_F(HubServeCommand, RereadsItsTokensOnAHangup) {
  const std::string file = secret("token", "old\n");
  const std::string data = tree().path("hub");
  int before = 0;
  int both = 0;
  int kept = 0;
  const auto served = serve({"--admin-token-file", file}, [&](pid_t program) {
    const auto status = [&](const std::string& token) {
      return HTTPClient::send({"GET", urlOf(data) + "/api/v1/summary?token=" + token, {}, {}}, 10, {}).status;
    };
    const auto waitFor = [&](const std::string& token, int wanted) {
      int last = 0;
      for (int i = 0; i < 100 && last != wanted; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        last = std::filesystem::exists(data + "/events.jsonl") ? status(token) : 0;
      }
      return last;
    };
    waitFor("old", 200);
    before = status("new");
    secret("token", "old\nnew\n");
    ::kill(program, SIGHUP);
    both = waitFor("new", 200);
    EXPECT_EQ(status("old"), 200);
    secret("token", "newer\n", 0644);
    ::kill(program, SIGHUP);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    kept = status("new");
  });
  EXPECT_EQ(before, 401);
  EXPECT_EQ(both, 200);
  EXPECT_EQ(kept, 200);
  EXPECT_THAT(served.out, AllOf(HasSubstr("\ntokens read anew\n"),
                                HasSubstr("\nwarning: the tokens stay as they were: "), HasSubstr("\nstopped\n")));
  EXPECT_THAT(served.out + served.err, Not(HasSubstr("newer")));
  EXPECT_THAT(served.out, Not(HasSubstr("token=")));
}

TEST_F(HubServeCommand, WarnsOfAnOpenHubEvenWhenItIsToBeQuiet) {
  const auto warned = [&](const Texts& more, Environment environment = {}) {
    Texts arguments{"hub", "serve", "--quiet", "--data", tree().path("hub"), "--listen", "0.0.0.0:0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    // Only the warning is ever written; without it the hub is killed at the timeout.
    ProgramOptions options{.environment = std::move(environment)};
    options.onFirstError = [](pid_t program) { ::kill(program, SIGTERM); };
    return run(arguments, options);
  };
  const auto open = warned({});
  EXPECT_EQ(open.status, 0);
  EXPECT_EQ(open.out, "");
  EXPECT_THAT(open.err, HasSubstr("WARNING: this hub listens on 0.0.0.0 and has no administrator's token."));
  EXPECT_THAT(warned({"--agent-token", "x"}).err, HasSubstr("WARNING"));
}

TEST_F(HubServeCommand, NotesThatTokensInTheOpenAreSeen) {
  const auto served = serve({"--admin-token", "hush-hush"});
  EXPECT_THAT(served.err, StartsWith("note: --admin-token shows the token to every user"));
  EXPECT_THAT(served.out + served.err, Not(HasSubstr("hush-hush")));
  EXPECT_EQ(serve({}, {}, {{"TIDRA_HUB_ADMIN_TOKEN", "hush-hush"}}).err, "");
}

}  // namespace
}  // namespace tidra
