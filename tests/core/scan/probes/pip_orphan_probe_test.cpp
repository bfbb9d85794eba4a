#include "core/scan/probes/pip_orphan_probe.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/scan/probes/pip_trust.h"
#include "core/scan/probes/python_requirements.h"
#include "tests/core/scan/probes/probe_fixture.h"

namespace tidra {
namespace {

TEST(Requirement, NamesItsPackageAsTheStandardComparesIt) {
  const std::string_view named =
      R"(requests => requests |   Flask_Login => flask-login | zope.interface==5 => zope-interface |
      a__b-._c => a-b-c | a >=1,<2 => a | a~=1.4.2 => a | a!=3 => a | a (>=1.0) => a | a[x,y]>=1 => a | a [x] => a |
      a; python_version < '3' => a | a @ https://host/a.whl => a | a@https://host/a.whl => a | a --hash=sha256:0 => a)";
  for (const auto text : split(named, '|')) {
    const auto arrow = text.find(" =>");
    EXPECT_EQ(requirementName(text.substr(0, arrow)), trimmed(text.substr(arrow + 3))) << text;
  }
  for (const char* text : {"", "-a", "_a", ".a", "${NAME}", "dist/a-1.0.whl", "a b", "a\rb", "\xef\xbb\xbf-a"})
    EXPECT_EQ(requirementName(text), std::nullopt) << text;
}

TEST(RequirementFile, ReturnsNamesOrNoneWhenSomeAreUnclear) {
  const TemporaryTree tree;
  tree.writeFile("more.txt", "more");
  tree.writeFile("sub/deep.txt", "deep\n-r ../more.txt");
  tree.writeFile("loop.txt", "looped\n-r main.txt\n-r ./loop.txt");
  ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0600), 0);
  const auto names = [&](const std::string& text) {
    const auto read = readRequirements(tree.writeFile("main.txt", text));
    return read ? "[" + joined({read->begin(), read->end()}, " ") + "]" : "";
  };
  std::vector<std::string> cases{std::string("a\0b =>", 6), std::string(1024 * 1024 + 1, '\n') + " =>"};
  for (const auto text :
       split(" => []|# only\n\n   # comments\n => []|A\nb.C==1 # why\n => [a b-c]|a\r\nb\r\n => [a b]|"
             "a # b\nc#d =>|a==\\\n1.0\nb => [a b]|"
             "a \\\n  --hash=sha256:0 \\\n  --hash=sha256:1\nb\\\n => [a b]|"
             "# a comment goes on in no line \\\nb => [b]|a\\\n# begun\nb => [a b]|"
             "-i https://host\n--index-url=https://host\n--pre\n-c missing\n--constraint missing\na => [a]|"
             "-r more.txt\na => [a more]|-rmore.txt => [more]|--requirement more.txt => [more]|"
             "--requirement=sub/deep.txt => [deep more]|-r loop.txt\na => [a looped]|-r missing.txt\na =>|"
             "-r pipe =>|-r sub =>|https://host/My_Pkg-1.0-py3-none-any.whl#sha256=00 => [my-pkg]|"
             "https://user@host/my-1.0-py3-none-any.whl => [my]|"
             "git+https://host/r#egg=My.Pkg[x]&s=t => [my-pkg]|-e git+ssh://git@host/r#egg=b => [b]|"
             "--editable=git+https://host/r#egg=b => [b]|git+https://host/repo.git =>|"
             "https://host/a-1.0.tar.gz =>|-e . =>|--editable ./lib =>|./a =>|../a =>|/srv/a =>|libs/a =>|"
             "wheels/b-1.0-py3-none-any.whl => [b]|b_c-1.0-py3-none-any.whl => [b-c]|a-1.0.zip =>|$VARIABLE =>",
             '|'))
    cases.emplace_back(text);
  for (const std::string& text : cases) {
    const auto arrow = text.find(" =>");
    EXPECT_EQ(names(text.substr(0, arrow)), trimmed(std::string_view(text).substr(arrow + 3))) << text.substr(0, 100);
  }
  EXPECT_EQ(readRequirements(tree.path("pipe")), std::nullopt);
  // Chains of includes may be long, but are bounded.
  tree.writeFile("chain60", "end");
  for (int i = 0; i < 60; ++i)
    tree.writeFile("chain" + std::to_string(i), "c" + std::to_string(i) + "\n-r chain" + std::to_string(i + 1));
  EXPECT_EQ(names("-r chain0"), "");
  EXPECT_NE(names("-r chain30"), "");
}

class Pip : public testing::Test {
 protected:
  /// An environment whose python is the shell, so that tests can script it.
  Pip() {
    fixture.tree().makeFolder("p/.venv/bin");
    fixture.tree().symlink("p/.venv/bin/python", "/bin/sh");
    fixture.tree().symlink("p/.venv/bin/python3", "python");
  }

  std::string environment() const { return fixture.tree().path("p/.venv"); }
  std::string canary() const { return fixture.tree().path("canary"); }

  /// Installs a package of 100 bytes with these requirements.
  void install(const std::string& name, const std::string& needs = {}, const std::string& python = "python3.11") {
    std::string metadata = "Metadata-Version: 2.1\nName: " + name + "\nVersion: 1\n";
    for (const auto need : splitNonEmpty(needs, ' ')) metadata += "Requires-Dist: " + std::string(need) + "\n";
    const std::string folder = "p/.venv/lib/" + python + "/site-packages/" + name + "-1.dist-info/";
    fixture.tree().writeFile(folder + "METADATA", metadata + "\nName: described\nRequires-Dist: described\n");
    fixture.tree().writeFile(folder + "RECORD",
                             "a,\"b.py\",sha256=00,60\n" + name + "/c.py,,40\n" + folder + "RECORD,,\n");
    listed_ += (listed_.empty() ? "" : ", ") + ("{\"name\": \"" + name + "\", \"version\": \"1\"}");
  }
  void writeScript(const std::string& text) const { fixture.tree().writeFile("p/.venv/bin/pip", text, 0755); }
  /// A pip for this interpreter that lists what is installed and records that it ran.
  void writePip(const std::string& interpreter, const std::string& extra = {}) const {
    writeScript("#!" + interpreter + "\n: > '" + canary() + "'\necho '[" + listed_ + extra + "]'\n");
  }
  void writePip() const { writePip(environment() + "/bin/python3"); }

  ProbeReport scan() const {
    FoundArtifact found;
    found.finding.path = environment();
    found.finding.ecosystemTag = "py";
    found.finding.groupRoot = fixture.tree().path("p");
    return PipOrphanProbe::scan({found}, fixture.context);
  }
  /// The names in the hint.
  std::string unused() const {
    const auto report = scan();
    if (report.items.empty()) return "none";
    const std::string hint = report.items.front().finding.restoreHint.value_or("");
    EXPECT_TRUE(hint.starts_with("pip install to restore: ")) << hint;
    return hint.substr(hint.find(':') + 2);
  }
  bool wasRun() const { return static_cast<bool>(readFile(canary())); }

  ProbeFixture fixture;
  std::string listed_;
};

TEST_F(Pip, WhatNoListedPackageNeedsIsUnused) {
  install("Flask", "Werkzeug>=2.0 jinja2;extra=='x'");
  install("werkzeug", "MarkupSafe");
  install("Jinja2", "flask");
  install("MarkupSafe", "not-installed");
  install("Old_Tool", "Its.Helper");
  for (const char* name : {"its-helper", "pytest", "pip", "setuptools", "wheel", "uv"}) install(name);
  fixture.tree().writeFile("p/requirements.txt", "flask[async]==2.0 ; python_version > '3'\n");
  fixture.tree().writeFile("p/requirements-dev.txt", "PyTest\n");
  writePip();
  const ProbeReport report = scan();
  ASSERT_EQ(report.items.size(), 1U);
  const ScanArtifactFinding& finding = report.items[0].finding;
  EXPECT_EQ(finding.path, "pip:orphan:" + environment());
  EXPECT_EQ(finding.label, "Unused pip packages (2)");
  EXPECT_EQ(finding.sizeBytes, 200U);
  EXPECT_EQ(finding.groupRoot, "__tidra:system:python__");
  EXPECT_EQ(finding.source, ArtifactSource::pipCLI);
  EXPECT_EQ(finding.restoreHint, "pip install to restore: its-helper, Old_Tool");
  fixture.tree().writeFile("p/requirements-dev.txt", "pytest\nold.tool");
  EXPECT_EQ(unused(), "none") << "everything is needed";
}

TEST_F(Pip, NothingIsUnusedWhereTheNeedsAreUnclear) {
  install("needed");
  install("spare");
  writePip();
  EXPECT_EQ(unused(), "none") << "without a requirement file";
  EXPECT_FALSE(wasRun());
  fixture.tree().writeFile("p/requirements-dev.txt", "needed");
  EXPECT_EQ(unused(), "spare");
  ASSERT_EQ(::mkfifo(fixture.tree().path("p/requirements.txt").c_str(), 0600), 0);
  EXPECT_EQ(unused(), "none");
  ::unlink(fixture.tree().path("p/requirements.txt").c_str());

  writePip(environment() + "/bin/python", R"(, {"name": "borrowed", "version": "1"})");
  EXPECT_EQ(unused(), "spare") << "what the environment borrows from the system is not its own";
  fixture.tree().writeFile("p/requirements-dev.txt", "needed\nborrowed");
  EXPECT_EQ(unused(), "none") << "what a borrowed package needs is unknown";
  fixture.tree().writeFile("p/requirements-dev.txt", "needed");
  writePip(environment() + "/bin/python", R"(, {"name": "spare", "editable_project_location": "/src"})");
  EXPECT_EQ(unused(), "none") << "somebody works on it";
  writePip(environment() + "/bin/python", R"(, {"name": "--index-url"})");
  EXPECT_EQ(unused(), "none");
  for (const std::string& body : uselessScripts) {
    writeScript("#!" + environment() + "/bin/python\n" + body + "\n");
    EXPECT_EQ(unused(), "none") << body;
  }
  writeScript("#!" + environment() + "/bin/python\n" + fixture.hang() + "\n");
  EXPECT_EQ(unused(), "none");
  EXPECT_TRUE(fixture.context.shouldCancel());
}

TEST_F(Pip, MetadataOfAnOlderInstallerCountsToo) {
  install("needed");
  const std::string old = "p/.venv/lib/python3.11/site-packages/Older-1.egg-info/";
  fixture.tree().writeFile(old + "PKG-INFO", "Name: Older\n");
  fixture.tree().writeFile(old + "requires.txt", "helper>=1\n\n[extra]\nrare\n");
  install("helper");
  install("rare");
  install("spare");
  fixture.tree().writeFile("p/requirements.txt", "needed\nolder");
  writePip(environment() + "/bin/python", R"(, {"name": "Older"})");
  EXPECT_EQ(unused(), "spare");
}

TEST_F(Pip, OnlyAPipThatWasMadeHereByThisUserIsRun) {
  install("spare");
  fixture.tree().writeFile("p/requirements.txt", "");
  const std::string python = environment() + "/bin/python";
  for (const std::string& interpreter :
       {std::string("/somewhere/else/bin/python"), "/bin/sh\n#" + python, "/bin/sh " + python, python + " -x",
        environment() + "/bin/sh", environment() + "/python", python + "/../sh", std::string("/bin/sh")}) {
    writePip(interpreter);
    EXPECT_EQ(unused(), "none") << interpreter;
  }
  writePip();
  for (const char* open : {"p/.venv", "p/.venv/bin", "p/.venv/bin/pip"}) {
    fixture.tree().setMode(open, 0777);
    EXPECT_EQ(unused(), "none") << open;
    fixture.tree().setMode(open, 0755);
  }
  constexpr uid_t nobody = 65534;
  for (const char* foreign : {"p/.venv", "p/.venv/bin", "p/.venv/bin/pip"}) {
    if (::geteuid() != 0) break;  // chown needs root
    ASSERT_EQ(::chown(fixture.tree().path(foreign).c_str(), nobody, nobody), 0);
    EXPECT_EQ(unused(), "none") << foreign;
    ASSERT_EQ(::chown(fixture.tree().path(foreign).c_str(), 0, 0), 0);
  }
  fixture.tree().setMode("p/.venv/bin/pip", 0644);
  EXPECT_EQ(unused(), "none");
  EXPECT_FALSE(wasRun());
  fixture.tree().setMode("p/.venv/bin/pip", 0755);
  EXPECT_EQ(unused(), "spare") << "the same environment, put right";
  EXPECT_TRUE(wasRun());
}

TEST_F(Pip, AnInterpreterThatCouldHaveComeWithTheProjectIsNotRun) {
  install("spare");
  fixture.tree().writeFile("p/requirements.txt", "");
  writePip();
  const std::string link = environment() + "/bin/python";
  fixture.tree().writeFile("p/.venv/own", "", 0755);
  fixture.tree().writeFile("open/python", "", 0757);
  for (const std::string& target : {environment() + "/own", fixture.tree().path("open/python"), std::string("/bin"),
                                    fixture.tree().path("missing")}) {
    ::unlink(link.c_str());
    fixture.tree().symlink("p/.venv/bin/python", target);
    EXPECT_EQ(unused(), "none") << target;
  }
  ::unlink(link.c_str());
  fixture.tree().symlink("p/.venv/bin/python", "/bin/sh");
  EXPECT_EQ(unused(), "spare");
}

TEST_F(Pip, ACommittedEnvironmentIsNotRun) {
  const auto git = [&](const std::string& arguments) {
    const auto done = ProcessRunner::run({.executablePath = "/bin/sh",
                                          .arguments = {"-c", "git " + arguments},
                                          .currentDirectory = fixture.tree().path("p"),
                                          .timeoutSeconds = 60});
    return done && done->status == 0;
  };
  if (!git("init -q")) GTEST_SKIP() << "git is not installed";
  install("spare");
  fixture.tree().writeFile("p/requirements.txt", "");
  writePip();
  EXPECT_EQ(unused(), "spare") << "nothing is tracked";
  ASSERT_TRUE(git("add .venv/bin/python3"));
  EXPECT_EQ(unused(), "none");
  ASSERT_TRUE(git("rm -q --cached .venv/bin/python3"));
  EXPECT_EQ(unused(), "spare");
  fixture.tree().writeFile("p/.git/HEAD", "broken");
  EXPECT_EQ(unused(), "none") << "what git tracks is unknown";
}

TEST_F(Pip, IsOnlyAskedWhereSomethingWouldBeUnused) {
  install("needed");
  fixture.tree().writeFile("p/requirements.txt", "needed");
  writePip();
  EXPECT_EQ(unused(), "none");
  EXPECT_FALSE(wasRun());
  install("spare");
  writePip();
  fixture.context.exclusionFilter.addPattern("pip:orphan:*");
  EXPECT_EQ(unused(), "none");
  EXPECT_FALSE(wasRun());
}

TEST(PipScript, NamesItsInterpreterInThePlainAndInTheLongForm) {
  EXPECT_EQ(PipTrust::interpreterOf("#!/e/bin/python3.11\nimport sys"), "/e/bin/python3.11");
  for (const char* other : {"", "/e/bin/python", "#! /e/bin/python\n", "#!/e/bin/python -E\n", "\n#!/e/bin/python\n"})
    EXPECT_EQ(PipTrust::interpreterOf(other), "") << other;
  const auto named = [](const std::string& start, const std::string& end = "' '''") {
    return PipTrust::interpreterOf("#!/bin/sh\n" + start + " \"$0\" \"$@\"\n" + end + "\nimport sys\n");
  };
  EXPECT_EQ(named("'''exec' /e/bin/python"), "/e/bin/python");
  EXPECT_EQ(named("'''exec' \"/e f/bin/python\""), "/e f/bin/python");
  EXPECT_EQ(named("'''exec' '/e/bin/python'"), "/e/bin/python");
  for (const char* other : {"'''exec' /e f/bin/python", "'''exec' /e;f", "'''exec' \"/$(f)\"", "'''exec' \"/e\" \"/f\"",
                            "'''exec' '/e'\"", "'''exec' e", "'''exec' ", ": '''exec' /e/bin/python"})
    EXPECT_EQ(named(other), "") << other;
  EXPECT_NE(named("'''exec' /e/bin/python", "reboot"), "/e/bin/python");
}

TEST_F(Pip, ARealVirtualEnvironmentIsAsked) {
  const auto python = ProcessRunner::which("python3", processEnvironment());
  if (!python) GTEST_SKIP() << "python3 is not installed";
  for (const char* link : {"p/.venv/bin/python", "p/.venv/bin/python3"}) ::unlink(fixture.tree().path(link).c_str());
  const auto made = ProcessRunner::run({.executablePath = *python,
                                        .arguments = {"-m", "venv", "--without-pip", fixture.tree().path("p/.venv")},
                                        .timeoutSeconds = 120});
  if (!made || made->status != 0) GTEST_SKIP() << "python3 makes no virtual environments here";
  const auto pythons = ProbeFiles::subfolderNames(fixture.tree().path("p/.venv/lib"));
  ASSERT_EQ(pythons.size(), 1U);
  install("Needed", "its_part", pythons[0]);
  install("its-part", "", pythons[0]);
  install("Spare.One", "", pythons[0]);
  fixture.tree().writeFile("p/requirements.txt", "needed\n");
  // The environment's own interpreter looks for packages, as pip does.
  writeScript("#!" + environment() + R"(/bin/python3
import importlib.metadata, json, sys
assert sys.argv[1:3] == ["list", "--format=json"] and sys.prefix != sys.base_prefix
print(json.dumps([{"name": d.metadata["Name"], "version": d.version} for d in importlib.metadata.distributions()]))
)");
  EXPECT_EQ(unused(), "Spare.One");
}

}  // namespace
}  // namespace tidra
