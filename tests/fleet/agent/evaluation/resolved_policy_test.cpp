#include "fleet/agent/evaluation/resolved_policy.h"

#include "core/base/errors.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

const TidraPathResolver host{"/home/ada", {{"HOME", "/home/ada"}, {"CODE", "/srv/code"}, {"EMPTY", ""}}};

ResolvedPolicy resolvedFrom(const std::string& text) { return ResolvedPolicy::make(FleetPolicy::parse(text), host); }

std::string refusal(const std::string& text) {
  return messageOf<InputError>([&] { resolvedFrom(text); });
}

TEST(ResolvedPolicy, HasDefaultsInTheHomeFolder) {
  const auto resolved = resolvedFrom("{}");
  EXPECT_EQ(resolved.resolver.home, "/home/ada");
  EXPECT_THAT(resolved.roots, ElementsAre("/home/ada"));
  EXPECT_EQ(resolved.auditPath, "/home/ada/.tidra/audit.jsonl");
  EXPECT_EQ(resolved.lockPath, "/home/ada/.tidra/fleet.lock");
  EXPECT_EQ(resolved.quarantine, (QuarantineConfig{"/home/ada/.tidra/quarantine", 7}));
  EXPECT_EQ(resolved.textfile, std::nullopt);
  EXPECT_EQ(resolved.listen, (ListenAddress{"127.0.0.1", 9477}));
  EXPECT_THAT(resolved.notes, IsEmpty());
}

TEST(ResolvedPolicy, TildeIsTheResolvedHomeEverywhereButInTheHomeItself) {
  const auto resolved = resolvedFrom(R"({
    "scan": {"home": "~/../bob", "roots": ["~", "~/work/", "$CODE/x", "/opt/./y", "z", "~eve"],
             "exclude": ["~/a", "~/b/*", "$CODE/keep", "name", "~/c/"], "extraRules": ["~/r.json"]},
    "audit": {"path": "~/a.jsonl"}, "lockFile": "/run/lock", "metrics": {"textfile": "${CODE}/t.prom"},
    "disposal": {"quarantineDir": "~/q", "retentionDays": 3}})");
  EXPECT_EQ(resolved.resolver.home, "/home/bob");
  EXPECT_THAT(resolved.roots,
              ElementsAre("/home/bob", "/home/bob/work", "/srv/code/x", "/opt/y", "/home/bob/z", "/home/bob/~eve"));
  EXPECT_THAT(resolved.exclude.pathPrefixes,
              ElementsAre("/home/bob/a", "/home/bob/b/*", "/srv/code/keep", "/home/bob/c"));
  EXPECT_THAT(resolved.exclude.globPatterns, ElementsAre("/home/bob/b/*", "name"));
  EXPECT_THAT(resolved.extraRules, ElementsAre("/home/bob/r.json"));
  EXPECT_EQ(resolved.auditPath, "/home/bob/a.jsonl");
  EXPECT_EQ(resolved.lockPath, "/run/lock");
  EXPECT_EQ(resolved.textfile, "/srv/code/t.prom");
  EXPECT_EQ(resolved.quarantine, (QuarantineConfig{"/home/bob/q", 3}));
  EXPECT_EQ(resolvedFrom(R"({"scan": {"home": "/h"}})").auditPath, "/h/.tidra/audit.jsonl");
}

TEST(ResolvedPolicy, TakesTheQuarantineOfTheEnvironmentAndTheRetentionOfThePolicy) {
  const TidraPathResolver other{"/h", {{"TIDRA_QUARANTINE_DIR", "/q"}}};
  EXPECT_EQ(ResolvedPolicy::make(FleetPolicy::parse(R"({"disposal": {"retentionDays": 0}})"), other).quarantine,
            (QuarantineConfig{"/q", 0}));
}

TEST(ResolvedPolicy, RefusesPathsThatNameNothing) {
  EXPECT_EQ(refusal(R"({"scan": {"roots": ["~", "$NOPE/x"]}})"),
            "scan.roots[1] '$NOPE/x' names a variable that is not set or empty; set it, or write the path out.");
  EXPECT_THAT(refusal(R"({"scan": {"roots": ["$EMPTY"]}})"), HasSubstr("scan.roots[0] '$EMPTY' names a variable"));
  EXPECT_THAT(resolvedFrom(R"({"never": {"paths": ["$EMPTY/build"]}})").notes, ElementsAre(HasSubstr("$EMPTY/build")));
  EXPECT_EQ(refusal(R"({"audit": {"path": " "}})"), "audit.path is empty; name a path, or leave the key out.");
  EXPECT_THAT(refusal(R"({"scan": {"home": ""}})"), HasSubstr("scan.home is empty"));
}

TEST(ResolvedPolicy, RefusesOneFileForTwoThings) {
  EXPECT_EQ(refusal(R"({"metrics": {"textfile": "~/.tidra/./audit.jsonl"}})"),
            "audit.path and metrics.textfile are the same file '/home/ada/.tidra/audit.jsonl'; give each its own.");
  EXPECT_THAT(refusal(R"({"audit": {"path": "/run/t"}, "lockFile": "/run/t"})"), HasSubstr("audit.path and lockFile"));
  EXPECT_THAT(refusal(R"({"lockFile": "~/q", "disposal": {"quarantineDir": "$HOME/q"}})"), HasSubstr("lockFile and"));
  EXPECT_EQ(
      refusal(R"({"disposal": {"quarantineDir": "~/.tidra/audit.jsonl.checkpoint/q"}})"),
      "disposal.quarantineDir '/home/ada/.tidra/audit.jsonl.checkpoint/q' is where a file of the audit log belongs; "
      "choose another place.");
  EXPECT_EQ(refusal(R"({"disposal": {"quarantineDir": "/"}})"),
            "disposal.quarantineDir is '/'; name a place of its own.");
  EXPECT_THAT(refusal(R"({"audit": {"path": "/a"}, "lockFile": "/a.policy"})"), HasSubstr("lockFile '/a.policy' is"));
}

TEST(ResolvedPolicy, NotesWhatProtectsNothing) {
  EXPECT_THAT(resolvedFrom(R"({"never": {"paths": ["~/ok", "", "$NOPE/x", "./here"]}})").notes,
              ElementsAre("never.paths[1] is empty and matches nothing.",
                          "never.paths[2] '$NOPE/x' names a variable that is not set or empty and matches nothing.",
                          "never.paths[3] './here' matches nothing; begin it with / or ~."));
}

TEST(ResolvedPolicy, ProtectsFoldersWithOddNames) {
  // Paths, and whether the policy protects them.
  const TidraPathResolver odd{"/h[1]", {{"BASE", "/srv/v[2]/"}, {"DEEP", "*/keep"}}};
  const auto covers = [&](const std::string& text, const std::string& path) {
    return makePolicyFilter({text}, odd).isExcluded(path);
  };
  for (const auto& [text, path] : rowsOf(
           "~/code/*/dist => /h[1]/code/a/dist | $BASE/*/dist => /srv/v[2]/a/dist | $BASE/app => /srv/v[2]/app/dist | "
           "~/web/[slug] => /h[1]/web/[slug]/dist | ~/web/[ab] => /h[1]/web/a | "
           "pages/[slug] => /srv/web/pages/[slug] | /srv//x/./* => /srv/x/dist | $DEEP => /a/b/keep"))
    EXPECT_TRUE(covers(text, path)) << text;
  EXPECT_FALSE(covers("~/code/*/dist", "/h1/code/a/dist"));
  EXPECT_THAT(resolvedFrom(R"({"never": {"paths": ["~/ci/../a", " ~/b", "~eve/c"]}})").notes,
              ElementsAre("never.paths[1] ' ~/b' is surrounded by blanks, which are significant; remove them.",
                          "never.paths[2] '~eve/c' is a name: only ~ itself stands for a home folder."));
}

TEST(ResolvedPolicy, SplitsListenAddressesAtTheLastColon) {
  const std::vector<std::pair<std::string, ListenAddress>> cases{{":9100", {"0.0.0.0", 9100}},
                                                                 {"localhost:0", {"localhost", 0}},
                                                                 {"h:65535", {"h", 65535}},
                                                                 {"[::1]:80", {"[::1]", 80}},
                                                                 {"::1:80", {"::1", 80}}};
  for (const auto& [text, address] : cases) EXPECT_EQ(ListenAddress::parse(text), address) << text;
  for (const char* other :
       {"localhost", "h:99999", "h:", "", "h:80 ", "h:+80", "h:0x50", "h:-1", "h:18446744073709551696"})
    EXPECT_EQ(ListenAddress::parse(other), ListenAddress()) << other;
  EXPECT_THAT(resolvedFrom(R"({"metrics": {"listen": "localhost"}})").notes,
              ElementsAre("metrics.listen 'localhost' is not a host and port; 127.0.0.1:9477 is used."));
}

class HubTokenTest : public testing::Test {
 protected:
  /// The token found with this `hub` section and this variable.
  HubToken find(const std::string& hub, const std::string& variable = {}) const {
    TidraPathResolver resolver{tree_.root(), {}};
    if (!variable.empty()) resolver.environment["TIDRA_HUB_TOKEN"] = variable;
    return HubToken::find(FleetPolicy::parse(R"({"hub": )" + hub + "}"), resolver, tree_.path("etc"));
  }
  void write(const std::string& name, const std::string& bytes, unsigned mode = 0600) const {
    tree_.writeFile(name, bytes, mode);
  }
  std::string quoted(const std::string& name) const { return "'" + tree_.path(name) + "'"; }

  const TemporaryTree tree_;
};

TEST_F(HubTokenTest, TakesTheFirstThatIsNotEmpty) {
  const std::string everything = R"({"token": "inline", "tokenFile": "~/named"})";
  const std::string noToken = R"({"token": "", "tokenFile": "~/named"})";
  EXPECT_EQ(find("{}").token, std::nullopt);
  EXPECT_EQ(find("{}", "variable").token, "variable");
  write(".tidra/hub.token", " \t abc \r\n");
  EXPECT_EQ(find("{}", "variable").token, "abc");
  EXPECT_EQ(find("{}", "variable").source, tree_.path(".tidra/hub.token"));
  write(".tidra/hub.token", "old\r\nnew\n");
  EXPECT_EQ(find("{}").token, "old");
  write("etc", "of etc");
  EXPECT_EQ(find("{}", "variable").token, "of etc");
  write("named", " \n");
  EXPECT_EQ(find(noToken, "variable").token, "of etc");
  EXPECT_THAT(find(noToken).notes, ElementsAre("Token file " + quoted("named") + " is empty."));
  write("named", "of name");
  EXPECT_EQ(find(noToken, "variable").token, "of name");
  EXPECT_EQ(find(everything, "variable").token, "inline");
  EXPECT_EQ(find(everything, "variable").source, "hub.token of the policy");
}

TEST_F(HubTokenTest, PassesOverFilesThatOthersGetAt) {
  write("named", "secret", 0604);
  const auto found = find(R"({"tokenFile": "~/named"})", "variable");
  EXPECT_EQ(found.token, "variable");
  EXPECT_THAT(found.notes, ElementsAre("Token file " + quoted("named") +
                                       " can be read or changed by others and is not used; run chmod 600 " +
                                       quoted("named") + " and replace the token."));
  for (const unsigned mode : {0620U, 0602U, 0601U}) {
    tree_.setMode("named", mode);
    EXPECT_EQ(find(R"({"tokenFile": "~/named"})").token, std::nullopt) << mode;
  }
  tree_.setMode("named", 0400);
  EXPECT_EQ(find(R"({"tokenFile": "~/named"})").token, "secret");
  if (::geteuid() != 0) GTEST_SKIP() << "needs files of root and of another user";
  tree_.setMode("named", 0640);
  EXPECT_EQ(find(R"({"tokenFile": "~/named"})").token, "secret");
  ASSERT_EQ(::chown(tree_.path("named").c_str(), 4711, 4711), 0);
  tree_.setMode("named", 0600);
  EXPECT_THAT(find(R"({"tokenFile": "~/named"})").notes, ElementsAre(HasSubstr("belongs to another user")));
}

TEST_F(HubTokenTest, PassesOverWhatIsNoTextFile) {
  tree_.makeFolder("named");
  EXPECT_THAT(find(R"({"tokenFile": "~/named"})").notes, ElementsAre(HasSubstr("is not a regular file")));
  write("bytes", "\xFFtoken");
  EXPECT_THAT(find(R"({"tokenFile": "~/bytes"})").notes, ElementsAre(HasSubstr("is not UTF-8 text")));
  EXPECT_THAT(find(R"({"tokenFile": "~/absent"})").notes, ElementsAre(HasSubstr("does not exist")));
  EXPECT_THAT(find(R"({"tokenFile": "$NOPE/x"})").notes, ElementsAre(HasSubstr("a variable that is not set")));
  write("shut", "secret", 0000);
  const WithoutPrivileges nobody(tree_);
  EXPECT_THAT(find(R"({"tokenFile": "~/shut"})").notes, ElementsAre(HasSubstr("cannot be read: Permission denied")));
}

}  // namespace
}  // namespace tidra
