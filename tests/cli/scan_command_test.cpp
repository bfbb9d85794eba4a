#include <signal.h>
#include <sys/stat.h>

#include <map>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/rules/rule_catalog.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class ScanCommand : public CliTest {
 protected:
  int statusInShell(const std::string& command) const { return inShell(command).status; }

  /// A rules file with one rule: every folder "cacheme", with hostile label and hint.
  std::string rulesFile(const std::string& hint = "remake") const {
    return tree().writeFile("rules.json", R"({"projectRules": [{"id": "mine", "folderName": "cacheme",
        "ecosystem": "ours", "tier": "warning", "label": "l\u001b[31mabel", "restoreHint": ")" +
                                              hint + R"("}]})");
  }
};

TEST_F(ScanCommand, JsonIsOneDocument) {
  const ScanReport made = report({});
  EXPECT_EQ(made.totalBytes, 54240);
  EXPECT_EQ(made.projectCount, 4);
  EXPECT_EQ(made.home, tree().root());
  EXPECT_EQ(made.scanRoot, tree().root());
  EXPECT_FALSE(made.partial);
  EXPECT_EQ(made.items.size(), 5U);
}

TEST_F(ScanCommand, OptionsChooseWhatIsFound) {
  tree().writeFileOfSize("code/web/cacheme/f", 5);
  rulesFile();
  const std::string all = "ancient/target snake/.venv tool/target web/dist web/node_modules";
  for (const char* options : {"", "~", ".", "code", "--tier safe", "--older-than 0d", "--threads 1", "--threads 256"})
    EXPECT_EQ(shortNames(found(wordsOf(options))), all) << options;
  for (const auto& [options, names] : rowsOf(R"(
       code/../code/web/ => web/dist web/node_modules | --ecosystem rust => tool/target |
       --ecosystem rust,py => snake/.venv tool/target | --ecosystem rust --ecosystem py => snake/.venv tool/target |
       --tier caution,warning => | --rules rules.json --tier warning => web/cacheme |
       --min-size 1000 => ancient/target tool/target web/node_modules | --older-than 6mo => ancient/target |
       --min-size 1K => tool/target web/node_modules | --rules rules.json --ecosystem ours => web/cacheme |
       --exclude tool => ancient/target snake/.venv web/dist web/node_modules |
       --exclude ~/code/web => ancient/target snake/.venv tool/target |
       --exclude $HOME/code/web -x => ancient/target snake/.venv tool/target |
       --exclude */code/s*,*/code/t*,dist => ancient/target web/node_modules |
       --rules rules.json => ancient/target snake/.venv tool/target web/cacheme web/dist web/node_modules |
       --rules rules.json --disable-rule mine,node_modules => ancient/target snake/.venv tool/target web/dist |
       --disable-rule target => snake/.venv web/dist web/node_modules |
       --unskip ~/.cache,~/.kube --ecosystem npm => p/node_modules web/dist web/node_modules)"))
    EXPECT_EQ(shortNames(found(wordsOf(options))), names) << options;
  EXPECT_EQ(shortNames(found({"code/web", tree().path("code/tool"), "~/code/tool"})),
            "web/dist web/node_modules tool/target");
  // Unknown ids and variables are noted and otherwise ignored.
  const ProgramRun noted = scan({"--disable-rule", "no-such-rule,target", "--exclude", "$NOPE,~/$NOPE,web"});
  EXPECT_EQ(noted.status, 0);
  EXPECT_THAT(noted.out, AllOf(HasSubstr("snake"), Not(HasSubstr("/web")), Not(HasSubstr("target"))));
  EXPECT_THAT(linesOf(noted.err), ElementsAre(StartsWith("note: No rule has the id 'no-such-rule'"),
                                              StartsWith("note: The exclusion '$NOPE' names the variable NOPE"),
                                              StartsWith("note: The exclusion '~/$NOPE' names the variable NOPE")));
  EXPECT_EQ(scan({"--exclude", "*.keep,*/*.keep"}).err,
            "note: '*.keep' matches names only, so it protects nothing inside an artefact; '*/*.keep' does.\n"
            "note: '*/*.keep' given with --exclude kept nothing out of this scan.\n");
  EXPECT_EQ(scan({"--exclude", "~/code/web/dist,~/code/web"}).err, "") << "one lies in the other";
}

TEST_F(ScanCommand, TextForAPipeCutsNothing) {
  const std::string deep = "code/" + std::string(120, 'd') + "/" + std::string(120, 'e');
  tree().writeFileOfSize(deep + "/cacheme/f", 10);
  const std::string hint(200, 'h');
  const ProgramRun ran = scan({"--apparent-size", "--rules", rulesFile(hint)});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.err, "");
  EXPECT_TRUE(ran.out.ends_with('\n'));
  EXPECT_THAT(ran.out, AllOf(HasSubstr("~/" + deep + "  "), HasSubstr(hint + "\n"), HasSubstr("l\\x1b[31mabel"),
                             HasSubstr("python -m venv .venv && pip install -r requirements.txt\n"),
                             HasSubstr("53 KB can be removed"), Not(HasSubstr("\x1b")), Not(HasSubstr("…"))));
}

/// Expects the parts in this order.
void expectInOrder(const std::string& text, const Texts& parts) {
  std::size_t from = 0;
  for (const std::string& part : parts) {
    const auto at = text.find(part, from);
    EXPECT_NE(at, std::string::npos) << part << " is missing or out of order in\n" << text;
    if (at != std::string::npos) from = at + part.size();
  }
}

TEST_F(ScanCommand, SortsAndLimitsProjects) {
  expectInOrder(scan({"--apparent-size"}).out, {"~/code/tool ", "~/code/web ", "~/code/ancient ", "~/code/snake "});
  expectInOrder(scan({"--apparent-size", "--sort", "size"}).out,
                {"~/code/tool ", "~/code/web ", "~/code/ancient ", "~/code/snake "});
  expectInOrder(scan({"--sort", "path"}).out, {"~/code/ancient ", "~/code/snake ", "~/code/tool ", "~/code/web "});
  expectInOrder(scan({"--sort", "age"}).out, {"~/code/ancient ", "~/code/"});
  tree().writeFile("code/plain/build/f");
  const std::string limited = scan({"--apparent-size", "--limit", "1"}).out;
  EXPECT_THAT(limited, AllOf(HasSubstr("~/code/tool "), Not(HasSubstr("~/code/web ")), HasSubstr("4 more projects"),
                             HasSubstr("53 KB can be removed"),
                             HasSubstr("to review: 1 artefact; --limit 0 shows each with its reason.")));
  EXPECT_THAT(scan({"--limit", "0"}).out, AllOf(HasSubstr("~/code/snake "), Not(HasSubstr("more projects"))));
}

TEST_F(ScanCommand, WritesItsResultToAFile) {
  const std::string file = tree().writeFile("out/result", "former");
  EXPECT_THAT(scan({"--json", "--output", file}), succeeds(""));
  const auto written = readFile(file);
  EXPECT_EQ(JsonCodec<ScanReport>::decode(parseJson(*written, "it"), "it").totalBytes, 54240);
  EXPECT_EQ(tree().snapshot().size(), [&] {
    scan({"--output", "out/result"});  // below the current folder
    return tree().snapshot().size();
  }()) << "no temporary file may stay behind";
  EXPECT_THAT(*readFile(file), HasSubstr("can be freed"));
  tree().writeFile("out/result", "former");
  EXPECT_EQ(scan({"-n", "--output", file}).out, "The result would be in " + file + ".\n");
  EXPECT_EQ(*readFile(file), "former");
}

TEST_F(ScanCommand, ANameOfAnOpenDescriptorIsWrittenThrough) {
  const std::string file = tree().path("out");
  for (const char* name : {"-", "/dev/stdout", "/proc/self/fd/1", "/dev/fd/1"}) {
    EXPECT_EQ(statusInShell("echo before > '" + file + "'; \"$tidra\" scan --no-system --output " + name + " >> '" +
                            file + "'; echo after >> '" + file + "'"),
              0);
    EXPECT_THAT(*readFile(file), AllOf(StartsWith("before\n"), HasSubstr("can be freed"), EndsWith("\nafter\n")))
        << name;
  }
  EXPECT_EQ(statusInShell("\"$tidra\" scan --no-system --output /dev/fd/3 3> '" + file + "'"), 0);
  EXPECT_THAT(*readFile(file), HasSubstr("can be freed"));
}

TEST_F(ScanCommand, StreamsThatTakeNothingAreNoCrash) {
  EXPECT_EQ(statusInShell("\"$tidra\" foo 2>&-"), 2);
  EXPECT_EQ(statusInShell("\"$tidra\" scan --no-system ~/.cache <&- 2>&-"), 0);
  EXPECT_EQ(statusInShell("\"$tidra\" scan --no-system >&-"), 1);
  if (!followedFacts("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  EXPECT_EQ(statusInShell("\"$tidra\" scan /missing 2> /dev/full"), 2);
  EXPECT_EQ(statusInShell("\"$tidra\" --help > /dev/full"), 1);
}

TEST_F(ScanCommand, FewDescriptorsLoseNothing) {
  for (int i = 0; i < 60; ++i) {
    const std::string project = "deep/p" + std::to_string(i);
    tree().writeFileOfSize(project + "/target/a/b/c/f", 1);
    tree().writeFileOfSize(project + "/target/d/e/f", 1);
  }
  for (const char* limit : {"24", "64"}) {
    EXPECT_EQ(statusInShell(std::string("ulimit -n ") + limit +
                            "; \"$tidra\" scan --no-system --threads 256 --json ~/deep > ~/out"),
              0);
    const auto made = reportOf({0, *readFile(tree().path("out")), ""});
    EXPECT_EQ(made.items.size(), 60U) << limit;
    EXPECT_EQ(made.totalBytes, 120) << limit;
  }
}

/// The program's own needs differ between builds, so try increasing limits.
TEST_F(ScanCommand, TooLittleMemoryEndsInASentence) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers take more address space than is allowed here";
#endif
  for (int i = 0; i < 500; ++i) tree().makeFolder("code/many/" + std::to_string(i) + "/node_modules");
  std::size_t shortages = 0;
  for (const int megabytes : {30, 60, 100, 150}) {
    const auto ended = inShell("ulimit -v " + std::to_string(megabytes * 1024) + "; exec \"$tidra\" scan --no-system");
    if (ended.status == 0) continue;  // without threads little is enough
    if (ended.stderr_.find("shared libraries") != std::string::npos || ended.stderr_.empty()) continue;  // not loaded
    EXPECT_EQ(ended.status, 1) << megabytes << ended.stderr_;
    EXPECT_THAT(linesOf(ended.stderr_), ElementsAre(StartsWith("tidra: there is not enough memory"))) << megabytes;
    ++shortages;
  }
  EXPECT_GT(shortages, 0U);
}

TEST_F(ScanCommand, AHomeFolderThatDoesNotExistIsNotMade) {
  ProgramOptions options;
  options.environment["HOME"] = tree().path("nobody");
  const ProgramRun ran = scan({tree().path("code")}, options);
  EXPECT_EQ(ran.status, 0);
  EXPECT_THAT(linesOf(ran.err), ElementsAre(HasSubstr("nothing was kept")));
  EXPECT_EQ(scan({tree().path("code"), "-q"}, options).err, "");
  EXPECT_EQ(run({"exclude", "add", "x"}, options).status, 2);
  EXPECT_FALSE(pathFacts(tree().path("nobody")));
  options.environment["HOME"] = "code";
  EXPECT_THAT(scan({tree().path("code")}, options), fails(2, HasSubstr("'code' that HOME names")));
}

TEST_F(ScanCommand, ChangesNothingBelowItsRoots) {
  const auto before = snapshotOf(tree().path("code"));
  EXPECT_EQ(scan({"code"}).status, 0);
  EXPECT_EQ(snapshotOf(tree().path("code")), before);
  // A dry run does not store the result either.
  const TemporaryTree other;
  ProgramOptions options;
  options.environment = {{"HOME", other.root()}};
  EXPECT_EQ(scan({"-n", tree().path("code")}, options).status, 0);
  EXPECT_EQ(other.snapshot().size(), 1U);
  EXPECT_EQ(snapshotOf(tree().path("code")), before);
}

TEST_F(ScanCommand, BadInputIsOneSentenceAndStatusTwo) {
  std::map<std::string, Texts> badValues{{"--tier", {"harmless", "", ","}},
                                         {"--ecosystem", {"cobol"}},
                                         {"--category", {"nothing"}},
                                         {"--min-size", {"big", "-1", "10X"}},
                                         {"--older-than", {"old", "6", "-6mo"}},
                                         {"--sort", {"colour"}},
                                         {"--limit", {"many", "-1", "1.5"}},
                                         {"--threads", {"many", "-1", "257"}},
                                         {"--exclude", {""}},
                                         {"--home", {"missing"}},
                                         {"--output", {"missing/file", "code", "dangling", "/dev/fd/77"}},
                                         {"--rules", {"/dev/zero", "missing.json", "code", "fifo"}},
                                         {"--unskip", {"code", ".git", ""}},
                                         {"--color", {"sometimes"}}};
  const std::string system = R"({"systemRules": [{"id": "s", "category": "c", "label": "l", "paths": )";
  for (const std::string& catalog :
       Texts{"", "{\"projectRules\": [\n\n", "[]", R"({"schemaVersion": 2})",
             R"({"projectRules": [{"id": 1, "folderName": "x"}]})", R"({"projectRules": [{"id": "a"}]})",
             R"({"projectRules": [{"id": "a", "folderName": "x", "tier": "t\n"}]})",
             R"({"projectRules": [{"id": "a", "folderName": "x"}, {"id": "a", "folderName": "y"}]})",
             R"({"projectRules": [{"id": "", "folderName": "x"}]})",
             R"({"projectRules": [{"id": "npm-cache", "folderName": "x"}]})", system + R"({"amiga": ["~/x"]}}]})",
             system + R"({}, "kind": "file", "mode": "children"}]})"}) {
    auto& files = badValues["--rules"];
    files.push_back(tree().writeFile("rules-" + std::to_string(files.size()), catalog));
  }
  std::vector<Texts> bad{{"missing"}, {""}, {"rules-of-nothing/../missing\n\x1b[31m"}, {"code/tool/Cargo.toml"}};
  bad.insert(bad.end(), {{"--sort", "age", "--sort", "size"}, {"--no-such-option\n"}});
  for (const auto& [option, values] : badValues) {
    for (const std::string& value : values) bad.push_back({option, value});
  }
  tree().symlink("dangling", "nowhere");
  ASSERT_EQ(::mkfifo(tree().path("fifo").c_str(), 0600), 0);
  const auto before = tree().snapshot();
  for (auto arguments : bad) {
    arguments.insert(arguments.begin(), {"scan", "--no-system"});
    EXPECT_THAT(refused(arguments), Not(HasSubstr("\x1b")));
  }
  EXPECT_THAT(refused({"rules", "check", "fifo"}),
              EndsWith("'fifo' is a pipe or a device; write the rules to a file and name that.\n"));
  EXPECT_THAT(refused({"apply", "fifo"}), HasSubstr("is not a file; name one that tidra plan has written"));
  EXPECT_EQ(tree().snapshot(), before) << "nothing was done";
}

TEST_F(ScanCommand, ATerminalOf80ColumnsGetsNoWiderLineAndNoForeignEscape) {
  const std::string hostile = "\x1b]0;owned\x07\x1b[31mred\r\n\xe2\x80\xae";
  tree().writeFileOfSize("code/" + hostile + "/target/f", 123456789);
  tree().writeFileOfSize("code/" + std::string(150, 'w') + "/node_modules/f", 12345678);
  std::string wide;
  for (int i = 0; i < 50; ++i) wide += "\xe6\xbc\xa2";
  tree().writeFileOfSize("code/" + wide + "/build/f", 12345678);
  for (int i = 0; i < 40; ++i) tree().writeFileOfSize("code/many" + std::to_string(i) + "/dist/f", 9999);
  for (int i = 0; i < 15; ++i) tree().writeFileOfSize("code/web/sub" + std::to_string(i) + "/cacheme/f", 99);

  ProgramOptions plain;
  plain.outIsTerminal = plain.errIsTerminal = true;
  plain.environment["NO_COLOR"] = "1";
  const ProgramRun uncoloured = scan({"--apparent-size", "--rules", rulesFile("run this")}, plain);
  EXPECT_EQ(uncoloured.status, 0);
  for (const std::string& line : linesOf(uncoloured.out)) EXPECT_LE(displayWidth(line), 80U) << line;
  EXPECT_THAT(uncoloured.out,
              AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), Not(HasSubstr("\r")),
                    Not(HasSubstr("\xe2\x80\xae")), HasSubstr("\\x1b]0;owned"), HasSubstr("more projects"),
                    HasSubstr("no file beside it names its packages; sparse files\n")));
  // The live line may move the cursor, but no text may.
  for (std::size_t from = 0; from < uncoloured.err.size();) {
    const auto next = std::min(uncoloured.err.find("\r\x1b[K", from), uncoloured.err.size());
    EXPECT_LE(displayWidth(uncoloured.err.substr(from, next - from)), 80U);
    from = next + 4;
  }
  EXPECT_THAT(uncoloured.err, AllOf(Not(HasSubstr("\x1b]")), Not(HasSubstr("\x1b[31m")), Not(HasSubstr("\x07"))));

  ProgramOptions coloured = plain;
  coloured.environment.erase("NO_COLOR");
  EXPECT_THAT(scan({}, coloured).out, AllOf(HasSubstr("\x1b[1m"), Not(HasSubstr("\x1b]")), Not(HasSubstr("\x07"))));
  EXPECT_THAT(scan({"--color", "never"}, coloured).out, Not(HasSubstr("\x1b")));
  coloured.environment["TERM"] = "dumb";
  const ProgramRun dumb = scan({}, coloured);
  EXPECT_THAT(dumb.out + dumb.err, Not(HasSubstr("\x1b")));
  EXPECT_THAT(scan({"--color", "always"}).out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(scan({"--quiet"}, plain).err, IsEmpty());
}

TEST_F(ScanCommand, AnInterruptShowsWhatWasFoundAndSaysSo) {
  for (int i = 0; i < 300; ++i) tree().writeFileOfSize("slow/p" + std::to_string(i) + "/target/f", 3);
  // Tens of thousands of patterns per entry make a small tree take many seconds.
  Texts arguments{"slow", "--json", "--threads", "1"};
  for (int list = 0; list < 8; ++list) {
    std::string patterns = "never";
    for (int i = 0; i < 8000; ++i) patterns += ",*/" + std::to_string(i) + "*~?";
    arguments.insert(arguments.end(), {"--exclude", patterns});
  }
  ProgramOptions options;
  options.errIsTerminal = true;
  for (const int signal : {SIGINT, SIGTERM}) {
    // The live line shows that the scan has started.
    options.onFirstError = [signal](pid_t child) { ::kill(child, signal); };
    const ProgramRun ran = scan(arguments, options);
    EXPECT_EQ(ran.status, 130);
    const auto cut = reportOf(ran);
    EXPECT_TRUE(cut.partial);
    EXPECT_LT(cut.items.size(), 300U);
    EXPECT_EQ(cut.totalBytes, static_cast<std::int64_t>(3 * cut.items.size())) << "the second root was begun";
  }
}

TEST_F(ScanCommand, EachRootWithoutFindingsHasANote) {
  const ProgramRun skipped = scan({"~/.cache"});
  EXPECT_EQ(skipped.status, 0);
  EXPECT_THAT(linesOf(skipped.err), ElementsAre(AllOf(StartsWith("note: "), HasSubstr("~/.cache lies in a folder"))));
  EXPECT_THAT(skipped.out, HasSubstr("Nothing to reclaim in ~/.cache."));
  EXPECT_EQ(scan({"~/.cache", "-q"}).err, "");
}

class RulesCommand : public CliTest {};

TEST_F(RulesCommand, ShowsTheCatalogThatScansUse) {
  const ProgramRun exported = run({"rules", "export"});
  EXPECT_EQ(exported.status, 0);
  EXPECT_EQ(RuleCatalog::load(exported.out), RuleCatalog::builtIn());
  const std::string file = tree().writeFile("mine.json", exported.out);
  EXPECT_THAT(run({"rules", "check", file}).out, HasSubstr("is a valid catalog"));
  EXPECT_THAT(run({"rules"}).out, AllOf(HasSubstr("\nnode_modules "), HasSubstr("\nnpm-cache ")));
  EXPECT_THAT(run({"rules", "list", "--skipped"}).out, HasSubstr("~/.cache\n"));
  const auto shown = documentOf(run({"rules", "show", "target"}));
  EXPECT_EQ(JsonCodec<ProjectArtifactRule>::decode(shown, "it").folderName, "target");
  for (const char* line : {"rules show nothing", "rules show", "rules enable", "rules check missing",
                           "rules list --rules code", "nothing"})
    refused(wordsOf(line));
}

}  // namespace
}  // namespace tidra
