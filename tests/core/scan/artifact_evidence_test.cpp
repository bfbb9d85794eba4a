// Evidence that a folder with an artefact's name was made by a tool.
#include <unistd.h>

#include <array>

#include "core/platform/path_text.h"
#include "core/scan/artifact_evidence.h"
#include "tests/core/scan/scan_fixture.h"

namespace tidra {
namespace {

EvidenceVerdict verdictOn(const TemporaryTree& tree, const std::string& path) {
  return ArtifactEvidence({tree.path("home"), {}}).of(tree.path(path));
}

/// "–" for none.
std::string evidenceOf(const TemporaryTree& tree, const std::string& path) {
  const auto verdict = verdictOn(tree, path);
  const auto* evidence = std::get_if<std::string>(&verdict);
  return evidence != nullptr ? *evidence : "–";
}

struct EvidenceRow {
  std::vector<std::string> entries;
  std::string path;
  std::string evidence;
};

void expectEvidence(const std::vector<EvidenceRow>& rows) {
  for (const auto& [entries, path, evidence] : rows) {
    const TemporaryTree tree;
    makeEntries(tree, entries);
    EXPECT_EQ(evidenceOf(tree, path), evidence) << testing::PrintToString(entries);
  }
}

TEST(ArtifactEvidence, TellsWhatAToolMadeFromWhatAPersonWrote) {
  std::string manyLines;
  for (int i = 0; i < 4200; ++i) manyLines += "f\n";
  expectEvidence({
      // The tool's marker inside.
      {{"package.json={\"dependencies\":{\"a\":\"1\"}}", "node_modules/.package-lock.json"},
       "node_modules",
       "holds .package-lock.json"},
      {{"target/CACHEDIR.TAG"}, "target", "holds CACHEDIR.TAG"},
      {{"m/__pycache__/a.cpython-311.pyc"}, "m/__pycache__", "holds a.cpython-311.pyc"},
      {{".tox/py311/pyvenv.cfg"}, ".tox", "holds py311/pyvenv.cfg"},
      {{"go.mod", "vendor/modules.txt"}, "vendor", "holds modules.txt"},
      // Ignored, with and without a repository; negated patterns are not.
      {{".git/", ".gitignore=out\n/build\n", "build/a.js"}, "build", "ignored by git"},
      {{".git/", ".gitignore=out\n/build\n", "build/a.go"}, "build", "–"},
      {{".git/", ".gitignore=/play\n", "play/x/build/a.js"}, "play/x/build", "–"},
      {{".git/", ".gitignore=*\n", "x/build/a.js"}, "x/build", "–"},
      {{".git/", ".gitignore=*\n!x\nbuild", "x/build/a.js"}, "x/build", "ignored by git"},
      {{".git/", ".git/info/exclude=build", "build/a.js"}, "build", "ignored by git"},
      {{".git/", ".gitignore=build\n!a/build", "a/build/a.js"}, "a/build", "–"},
      {{".git/", "ignore.txt=/build", ".gitignore->ignore.txt", "build/a.js"}, "build", "–"},
      // What of an ignore file is left out may take back what the rest says.
      {{".git/", ".gitignore=build/\n!/x/**/y/**/z/**/w/**/build/\n", "build/a.js"}, "build", "–"},
      {{".git/", ".gitignore=build/\n" + manyLines + "!build/\n", "build/a.js"}, "build", "–"},
      {{".git/", ".gitignore=build/\n", "x/.gitignore=" + std::string(300000, '#'), "x/build/a.js"}, "x/build", "–"},
      {{".gitignore=dist", "a/dist/a.js"}, "a/dist", "ignored by a .gitignore above it"},
      {{"home/.gitignore=dist", "home/a/dist/a.js"}, "home/a/dist", "–"},
      // The manifest beside it, unless there is counter-evidence.
      {{"package.json={\"scripts\":{\"build\":\"tsc\"}}", "dist/index.js"}, "dist", "beside package.json"},
      {{"package.json", "dist/index.js"}, "dist", "–"},
      {{".git/", "package.json={\"scripts\":{\"build\":\"tsc\"}}", "dist/index.js"}, "dist", "–"},
      {{"pom.xml", "target/spec.docx"}, "target", "–"},
      {{"package.json", "dist/index.ts", "dist/other.ts", "dist/a.js"}, "dist", "–"},
      {{"package.json", "dist/package.json", "dist/a.js"}, "dist", "–"},
      {{"package.json", "fixtures/x/package.json", "fixtures/x/dist/a.js"}, "fixtures/x/dist", "–"},
      {{"package.json", "test/x/package.json", "test/x/dist/a.js"}, "test/x/dist", "–"},
      {{"test/x/package.json={\"scripts\":{\"build\":\"tsc\"}}", "test/x/dist/a.js"},
       "test/x/dist",
       "beside package.json"},
      {{"command/image/build/context.go"}, "command/image/build", "–"},
      {{"autoload/dist/ft.vim"}, "autoload/dist", "–"},
      // Nothing at this path would restore it.
      {{"node_modules/.package-lock.json"}, "node_modules", "–"},
      {{"package.json={\"type\":\"module\"}", "node_modules/.package-lock.json"}, "node_modules", "–"},
      {{"Gemfile", "vendor/bundle/ruby/3.1.0/f", "vendor/assets/a.css"}, "vendor", "–"},
      {{".output/server/package.json", ".output/server/node_modules/.package-lock.json"},
       ".output/server/node_modules",
       "–"},
      {{".venv/pyvenv.cfg"}, ".venv", "–"},
      {{".git/", ".gitignore=.venv", ".venv/pyvenv.cfg"}, ".venv", "–"},
      {{"requirements-dev.txt=# none\nflask", ".venv/pyvenv.cfg"}, ".venv", "holds pyvenv.cfg"},
      {{"requirements.txt", ".venv/pyvenv.cfg", ".venv/lib/python3.11/site-packages/flask-1.dist-info/"}, ".venv", "–"},
      {{".venv/pyvenv.cfg", ".venv/lib/python3.11/site-packages/pip-1.dist-info/"}, ".venv", "holds pyvenv.cfg"},
      {{"pyproject.toml=[tool.black]", ".venv/pyvenv.cfg"}, ".venv", "–"},
      {{".venv/pyvenv.cfg", ".venv/lib/python3.11/site-packages/"}, ".venv", "holds pyvenv.cfg"},
      {{".venv/pyvenv.cfg", ".venv/bin/mine->../../x", ".venv/lib/python3.11/site-packages/"}, ".venv", "–"},
      {{".hg/", "package.json={\"scripts\":{\"build\":\"tsc\"}}", "dist/index.js"}, "dist", "–"},
      {{"Gemfile", "vendor/bundle/ruby/3.1.0/f"}, "vendor", "holds bundle/ruby"},
      {{"Gemfile", "vendor/bundle/ruby/3.1.0/f", "vendor/cache/rack-2.2.gem"}, "vendor", "–"},
      {{"vendor/modules.txt"}, "vendor", "–"},
  });
}

TEST(ArtifactEvidence, CommonNamesInsideAreMarksOnlyBesideTheToolsManifest) {
  expectEvidence({
      {{"target/classes/cat.jpg"}, "target", "–"},
      {{"pom.xml", "target/classes/A.class", "target/thesis.docx"}, "target", "–"},
      {{"pom.xml", "target/classes/A.class"}, "target", "holds classes"},
      {{".git/", "pom.xml", "target/classes/A.class"}, "target", "–"},
      {{".git/", ".gitignore=/p", "p/pom.xml", "p/target/classes/a.docx"}, "p/target", "holds classes"},
      {{"build.sbt", "target/streams/a"}, "target", "holds streams"},
      {{"target/scala-notes/a"}, "target", "–"},
      {{".build/checkouts/a"}, ".build", "–"},
      {{"angular.json", ".angular/cache/a"}, ".angular", "holds cache"},
      {{".angular/cache/a"}, ".angular", "–"},
      {{".git/", ".gitignore=/.angular/cache", "angular.json", ".angular/cache/a"}, ".angular", "holds cache"},
      {{".git/", ".gitignore=/.angular/cache", "angular.json", ".angular/cache/a", ".angular/b"}, ".angular", "–"},
      {{".gradle/2023/a"}, ".gradle", "–"},
      {{"dist/numpy-1.whl"}, "dist", "–"},
  });
}

TEST(ArtifactEvidence, AFolderOfNothingButBuildTreesIsMadeByTheirGenerator) {
  const std::string record = "/CMakeCache.txt=@CMAKE:src";
  const std::string source = "src/CMakeLists.txt";
  const std::string mark = "build/debug" + record;
  const std::string ofMeson = "/meson-info/meson-info.json=@MESON:src";
  expectEvidence({
      {{source, mark, "build/debug/cmake_install.cmake", "build/release" + record},
       "build",
       "holds debug/CMakeCache.txt"},
      {{source, mark, "build/gcc/a" + record}, "build", "holds debug/CMakeCache.txt"},
      {{"src/meson.build", "build/a" + ofMeson, "build/b" + ofMeson}, "build", "holds a/meson-info"},
      {{source, mark, "build/gcc/a/b" + record}, "build", "–"},
      {{source, mark, "build/notes.txt"}, "build", "–"},
      {{source, mark, "build/mine/f"}, "build", "–"},
      {{source, mark, "build/empty/"}, "build", "–"},
      {{source, mark, "build/link->debug"}, "build", "–"},
      {{source, "src/meson.build", mark, "build/b" + ofMeson}, "build", "–"},
      {{source, mark, "build/p" + record, "build/p/CMakeLists.txt"}, "build", "–"},
      {{source, mark, "build/debug/mine.py"}, "build", "–"},
      {{source, mark, "build/debug/a.pdf"}, "build", "–"},
      {{source, mark, "build/other/CMakeCache.txt"}, "build", "–"},
      {{source, mark, "build/moved" + record + ":elsewhere"}, "build", "–"},
      {{"package.json={\"scripts\":{\"build\":\"tsc\"}}", "dist/debug/CMakeCache.txt", "dist/CPackConfig.cmake"},
       "dist",
       "beside package.json"},
  });
}

TEST(ArtifactEvidence, ARecordCountsForTheFolderThatItsGeneratorMade) {
  const std::string record = "build/CMakeCache.txt=@CMAKE:src";
  const std::string source = "src/CMakeLists.txt";
  expectEvidence({
      {{source, record}, "build", "holds CMakeCache.txt"},
      {{source, record, "build/parser.c", "build/x.h"}, "build", "holds CMakeCache.txt"},
      {{source, "build/CMakeCache.txt", "build/.ninja_log"}, "build", "–"},
      {{source, record + ":elsewhere", "build/.ninja_log"}, "build", "–"},
      {{source, "build/CMakeCache.txt->../x", "x=@CMAKE:src:build"}, "build", "–"},
      {{".git/", ".gitignore=build", source, record + ":elsewhere", "build/Makefile"}, "build", "ignored by git"},
      {{"src/meson.build", "build/meson-info/meson-info.json=@MESON:src"}, "build", "holds meson-info"},
      {{"src/meson.build", "build/meson-info/"}, "build", "–"},
      // What would not come back.
      {{record}, "build", "–"},
      {{".git/", ".gitignore=build", record}, "build", "–"},
      {{"build/CMakeCache.txt=@CMAKE:build/s", "build/s/CMakeLists.txt"}, "build", "–"},
  });
  for (const char* kept :
       {"main.c", "main.cpp", "a.docx", "server.pem", "id_rsa", "id_ed25519", ".env", "a.kdbx", "a.pdf"}) {
    expectEvidence(
        {{{source, record, std::string("build/") + kept}, "build", "–"},
         {{source, "build/debug/CMakeCache.txt=@CMAKE:src", std::string("build/debug/") + kept}, "build", "–"}});
  }
  expectEvidence({{{"target/CACHEDIR.TAG", "target/a.docx"}, "target", "–"},
                  {{"go.mod", "vendor/modules.txt", "vendor/id_rsa"}, "vendor", "–"}});
}

TEST(ArtifactEvidence, AProjectThatIsCalledLikeAnArtefactIsNone) {
  expectEvidence({
      {{"build/CMakeLists.txt", "build/main.cpp", "build/CMakeCache.txt"}, "build", "–"},
      {{"CMakeLists.txt", "build/Makefile", "build/CMakeCache.txt=@CMAKE:.", "build/parser.c", "build/xConfig.cmake"},
       "build",
       "holds CMakeCache.txt"},
      {{"meson.build", "build/build.ninja", "build/meson-info/meson-info.json=@MESON:.", "build/config.h"},
       "build",
       "holds meson-info"},
      {{"build/build.ninja", "build/.ninja_log"}, "build", "–"},
      {{"build/Makefile", "build/CACHEDIR.TAG"}, "build", "–"},
      {{"build/util.c", "build/CACHEDIR.TAG"}, "build", "–"},
      {{"build/app.py", "build/meson-info/"}, "build", "–"},
      {{".git/", ".gitignore=build", "build/app.py", "build/meson-info/", "build/a", "build/b"},
       "build",
       "ignored by git"},
      {{"coverage/deno.json", "coverage/lcov.info"}, "coverage", "–"},
      {{"coverage/package.json", "coverage/lcov.info"}, "coverage", "–"},
      {{"pom.xml", "target/pom.xml", "target/CACHEDIR.TAG"}, "target", "–"},
      {{"requirements.txt=a", ".venv/pyvenv.cfg", ".venv/data.csv"}, ".venv", "–"},
      {{"requirements.txt=a", "venv/pyvenv.cfg", "venv/site/src/manage.py"}, "venv", "–"},
      {{"requirements.txt=a", "venv/pyvenv.cfg", "venv/src/mine.py"}, "venv", "–"},
      {{"requirements.txt=a", "venv/pyvenv.cfg", "venv/src/flask/.git/"}, "venv", "holds pyvenv.cfg"},
      {{"requirements.txt=a", ".venv/pyvenv.cfg", ".venv/bin/activate_this.py"}, ".venv", "holds pyvenv.cfg"},
      // Documents, keys and data bases.
      {{".git/", ".gitignore=target", "target/report.docx", "target/a.js", "target/b.js"}, "target", "–"},
      {{".git/", ".gitignore=build", "build/.env", "build/a.js"}, "build", "–"},
      {{".gitignore=coverage", "coverage/audit.xlsx"}, "coverage", "–"},
      {{"build.gradle", "build/keystore.jks"}, "build", "–"},
      {{".git/", ".gitignore=.next", ".next/a.db"}, ".next", "ignored by git"},
  });
}

TEST(ArtifactEvidence, ItsAbsenceHasAReason) {
  for (const auto& [entries, path, reason] : std::vector<EvidenceRow>{
           {{"build/a.js"}, "build", "no sign of a tool"},
           {{"build/CMakeCache.txt"}, "build", "its tool wrote this for another folder, or not at all: CMakeCache.txt"},
           {{"build/CMakeCache.txt=@CMAKE:home/src"}, "build", "its source is gone or lies in it: ~/src"},
           {{"CMakeLists.txt", "build/CMakeCache.txt=@CMAKE:.", "build/a.pdf"},
            "build",
            "holds documents or keys: a.pdf"},
           {{".venv/pyvenv.cfg"}, ".venv", "no file beside it names its packages"},
           {{"requirements.txt=a", ".venv/pyvenv.cfg", ".venv/x.py"}, ".venv", "holds files that people write: x.py"},
           {{R"(package.json={"dependencies":{"a":"../a"}})", "node_modules/a"},
            "node_modules",
            "what it is installed from is gone or lies in it"},
           {{".git/", ".gitignore=dist", "dist/certs/a.pem", "dist/a.js", "dist/b.js"},
            "dist",
            "holds documents or keys: a.pem"},
           {{"dist/package.json", "dist/CACHEDIR.TAG"}, "dist", "is a project of its own: package.json"},
           {{".git/", "build.gradle", "build/a.class"}, "build", "new in git"},
           {{".git/", ".gitignore=" + std::string(300000, '#'), "build.gradle", "build/a.class"},
            "build",
            "an ignore file was not read whole"},
           {{"package.json", "dist/a.js"}, "dist", "no script makes it, or one reads it"}}) {
    const TemporaryTree tree;
    makeEntries(tree, entries);
    const auto verdict = verdictOn(tree, path);
    ASSERT_TRUE(std::holds_alternative<EvidenceGap>(verdict)) << reason;
    EXPECT_EQ(std::get<EvidenceGap>(verdict).text(), reason);
  }
}

TEST(ArtifactEvidence, OnlyScriptsThatBuildMakeAFolder) {
  const auto expectScripts = [](const std::string& scripts, const std::string& folder, bool isMade) {
    const std::string package = "package.json={\"scripts\":{" + scripts + "}}";
    expectEvidence({{{package, folder + "/a.js"}, folder, isMade ? "beside package.json" : "–"}});
  };
  for (const char* scripts : {R"("build":"node build")",
                              R"("build":"cd build && ./make.sh")",
                              R"("build":"gulp --gulpfile ./build")",
                              R"("prebuild":"node ./build","build":"tsc")",
                              R"("prepare":"husky install")",
                              R"("rebuild-index":"x")",
                              R"("build":"electron-builder")",
                              R"("build:icons":"node scripts/icons.js")",
                              R"("build":"sh 'build/x'")",
                              R"("build":"tsc","lint":"eslint build/*.js")",
                              R"("build":"tsc","docs":"cp build/logo.png site")",
                              R"("build":"tsc","pack":"zip -r ../a.zip build")",
                              R"("build":"tsc","image":"docker build build")",
                              R"("build":"vite build","x":"node build/index.js serve")",
                              R"("build":"vite build --layouts build/layouts")",
                              R"("build":"tsc","x":"node $PWD/build/a.js")",
                              R"("build":"tsc && node ././/build/a.js")",
                              R"("build":"npm run lint")",
                              R"("build":"node make.js")",
                              R"("build":"pnpm exec crx build && tsc")"}) {
    expectScripts(scripts, "build", false);
  }
  for (const char* scripts : {R"("build":"zip -r a.zip dist")", R"("dist":"asar pack dist app.asar")",
                              R"("build":"crx pack dist -o a.crx && tsc")", R"("build":"tsc -o ../dist && cat dist")",
                              R"("build":"cp icon.png dist/icon.png")", R"("build":"./make --out ../dist")"}) {
    expectScripts(scripts, "dist", false);
  }
  for (const char* scripts :
       {R"("build":"react-scripts build","deploy":"gh-pages -d build")", R"("build:prod":"vite build --outDir=build")",
        R"("prepare":"npm run -s build","build":"NODE_ENV=production npx webpack build")",
        R"("build":"rm -rf ./build && tsc --outDir ./build")",
        R"("build":"cp -r assets build/","start":"serve -s build")", R"("build-lib":"rollup -c -o build/a.js")",
        R"("build":"node make.js --out-dir ./build")", R"("build":"yarn exec vite build")",
        R"("build":"node --x=1 node_modules/vite/bin/vite.js build")"}) {
    expectScripts(scripts, "build", true);
  }
  expectScripts(R"("build":"nest build","start":"node dist/main","lint":"eslint . --ignore-pattern dist")", "dist",
                true);
  expectEvidence(
      {{{R"(p/package.json={"scripts":{"build":"tsc && node ../p/build/a.js"}})", "p/build/a.js"}, "p/build", "–"}});
  const std::string webpack = R"(package.json={"scripts":{"build":"webpack"}})";
  expectEvidence({
      {{webpack, "webpack.config.js=const a = require(\"./build/base\")", "build/base.js"}, "build", "–"},
      {{webpack, "gulpfile.js=import b from './build'", "build/index.js"}, "build", "–"},
      {{webpack, "webpack.config.js=a: resolve(__dirname, './build')", "build/a.js"}, "build", "beside package.json"},
      {{webpack, "vue.config.js=const c = require(path.join(__dirname, 'build', 'bg'))", "build/bg.js"}, "build", "–"},
      {{R"(package.json={"scripts":{"build":"webpack && node tools/post"}})", "tools/post.js=import('../build/base')",
        "build/a.js"},
       "build",
       "–"},
  });
}

TEST(ArtifactEvidence, APackageManifestMustNameWhatAnInstallerBringsBack) {
  const std::string mark = "p/node_modules/.package-lock.json";
  const auto expectPackages = [&](std::vector<std::string> entries, bool named) {
    entries.push_back(mark);
    expectEvidence({{entries, "p/node_modules", named ? "holds .package-lock.json" : "–"}});
  };
  const std::string lock = R"(package-lock.json={"packages":{"":{},"node_modules/a":{}}})";
  const std::string emptyLock = R"(package-lock.json={"packages":{"":{}}})";
  expectPackages({"p/package.json=no JSON"}, false);
  for (const char* manifest :
       {R"({"workspaces":[]})", R"({"workspaces":["gone/*"]})", R"({"workspaces":["**"]})",
        R"({"bundledDependencies":["a"],"peerDependenciesMeta":{"a":{}}})", R"({"dependencies":["a"]})",
        R"({"dependencies":{"a":"file:../a"}})", R"({"dependencies":{"a":"../a"}})",
        R"({"dependencies":{"a":"/gone/x.tgz"}})", R"({"dependencies":{"a":"git+file:///gone/x#v1"}})",
        R"({"dependencies":{"b":"1","a":"~/a"}})", R"({"dependencies":{"mine":"./node_modules/mine"}})"}) {
    expectPackages({"p/package.json=" + std::string(manifest), "p/node_modules/mine/package.json"}, false);
  }
  for (const char* manifest :
       {R"({"dependencies":{"a":"file:../a"}})", R"({"devDependencies":{"a":"../a"}})", R"({"workspaces":["./w/*"]})",
        R"({"workspaces":{"packages":["w/**"]}})", R"({"peerDependencies":{"a":"~1"}})",
        R"({"workspaces":["{v,w}/*"]})", R"({"dependencies":{"ux":"file:vendor/ux/assets"}})"}) {
    expectPackages({"p/package.json=" + std::string(manifest), "a/", "p/w/b/package.json", "p/vendor/autoload.php",
                    "p/vendor/ux/assets/"},
                   true);
  }
  for (const auto& [file, named] : std::vector<std::pair<std::string, bool>>{
           {"package-lock.json=", false},
           {emptyLock, false},
           {R"(package-lock.json={"packages":{"../a":{},"node_modules/a":{"link":true,"resolved":"../a"}}})", false},
           {R"(package-lock.json={"dependencies":{"a":{"version":"file:../a"}}})", false},
           {R"(package-lock.json={"dependencies":{"a":{"version":"1"}}})", true},
           {"yarn.lock=# yarn lockfile v1\n", false},
           {"pnpm-lock.yaml=packages:\r\n\r\n  /a@1.0.0:\r\n", true},
           {"yarn.lock=abc", false},
           {"yarn.lock=__metadata:\n  version: 8\n\n\"a@link:../a::locator=x\":\n  version: 0\n", false},
           {"yarn.lock=\"@x/a@npm:^1\":\n  version: 1", true},
           {"pnpm-lock.yaml=importers:\n  .: {}\npackages:\n", false},
           {"pnpm-lock.yaml=packages:\n  file:../a:\n    name: a", false},
           {"pnpm-lock.yaml=packages:\n\n  '@x/a@1.0.0':\n", true},
           {"pnpm-lock.yaml=packages:\n  /a/1.0.0:\n", true},
           {"bun.lockb=x", false},
           {R"(bun.lock={"packages":{"a":["a@workspace:p"]}})", false},
           {R"(bun.lock={"packages":{"a":["a@1","",{},"sha512-x"]}})", true}}) {
    expectPackages({"p/package.json={}", "p/" + file}, named);
  }
  expectPackages({"p/package.json={}", "p/" + lock}, true);
  expectPackages({"p/package.json={}", lock}, false);
  expectPackages({"p/package.json={}", lock, R"(package.json={"workspaces":["p"]})"}, true);
  expectPackages({"p/package.json={}", "pnpm-workspace.yaml=packages: [p]", "pnpm-lock.yaml=packages:\n  a@1: {}"},
                 true);
}

TEST(ArtifactEvidence, AnEnvironmentNeedsAManifestThatNamesItsPackages) {
  const std::string torch = ".venv/lib/python3.11/site-packages/torch-1.dist-info/";
  for (const auto& [manifest, named] : std::vector<std::pair<std::string, bool>>{
           {"pyproject.toml=[project]\nname = 'x'\ndependencies = [\n  # none\n]", false},
           {"pyproject.toml=[tool.ruff]\n# dependencies are in the wiki", false},
           {"pyproject.toml=[tool.poetry.dependencies]\npython = '^3.11'", false},
           {"pyproject.toml=[build-system]\nrequires = ['torch']", false},
           {"pyproject.toml=[project]\ndependencies = [\n  'torch',\n]", true},
           {"pyproject.toml=[tool.poetry.group.dev.dependencies]\ntorch = '*'", true},
           {"pyproject.toml=[dependency-groups] # here\ndev = ['torch']", true},
           {"pyproject.toml=[project]\noptional-dependencies = {dev = []}", false},
           {"pyproject.toml=[project]\noptional-dependencies = {dev = ['torch']}", true},
           {"pylock.toml=[[packages]]\nname = 'x'\ndirectory = { path = '.' }", false},
           {"pylock.dev.toml=[[packages]]\nname = 'torch'\n[[packages]]\nname = 'x'\n[packages.directory]", true},
           {"setup.cfg=[metadata]\nname = x\n[options]\ninstall_requires =\n", false},
           {"setup.cfg=[options]\ninstall_requires =\n    torch>=1", true},
           {"setup.py=setup(name='x', install_requires=[])", false},
           {"setup.py=setup(install_requires=['torch'])", true},
           {"Pipfile=[packages]\n[requires]\npython_version = '3'", false},
           {"Pipfile=[packages]\ntorch = '*'", true},
           {R"(Pipfile.lock={"_meta":{"a":1},"default":{}})", false},
           {R"(Pipfile.lock={"default":{"torch":{}}})", true},
           {"poetry.lock=package = []\n[metadata]\nlock-version = 2", false},
           {"uv.lock=[[package]]\nname = 'x'\nsource = { virtual = '.' }", false},
           {"uv.lock=[[package]]\nname = 'torch'", true},
           {"pyproject.toml=[tool.hatch.envs.docs]\ndependencies = ['mkdocs']\n[tool.x]\ndependencies = true", false},
           {"requirements.txt=--index-url https://x\n", false},
           {"requirements.txt=-r gone.txt\n-e ../gone", false},
           {"requirements.txt=-e .venv/lib/python3.11/site-packages/torch-1.dist-info", false},
           {"requirements.txt=--editable=.[test]", true},
           {"requirements.txt=-e git+https://x/y.git", true},
           {"environment.yml=name: x\ndependencies:\n  - python=3.11\n", false},
           {"environment.yml=dependencies:\n- python\n- torch\n", true}}) {
    expectEvidence({{{manifest, ".venv/pyvenv.cfg", torch}, ".venv", named ? "holds pyvenv.cfg" : "–"}});
  }
  const std::string packages = "v/lib/python3/site-packages/";
  for (const std::string& own :
       {packages + "mymod.py", packages + "old-1.0-py3.11.egg", std::string("v/share/model.bin"),
        packages + "setuptools/mine.py", std::string("v/bin/deploy.sh"), std::string("v/bin/pipeline.sh"),
        std::string("v/bin/python_report.py"), std::string("v/include/python3/mine.h")}) {
    const TemporaryTree tree;
    makeEntries(tree, {"v/pyvenv.cfg", "v/bin/python3", "v/bin/\xF0\x9D\x9C\x8Bthon->python3", "v/include/python3/",
                       packages + "pip-1.dist-info/RECORD=setuptools/a,x,1", packages + "setuptools/a",
                       packages + "distutils-precedence.pth", "v/lib64->lib"});
    ::rename(tree.path("v").c_str(), tree.path("venv").c_str());
    EXPECT_EQ(evidenceOf(tree, "venv"), "holds pyvenv.cfg");
    makeEntries(tree, {"venv" + own.substr(1)});
    EXPECT_EQ(evidenceOf(tree, "venv"), "–") << own;
  }
}

TEST(ArtifactEvidence, NothingInAnUnpackedArchiveWasMadeThere) {
  const TemporaryTree tree;
  constexpr TimePoint packed{std::chrono::seconds{1500000000}};
  makeEntries(tree, {"package.json", "go.mod", ".gitignore=dist", "dist/index.js", "vendor/modules.txt", ".next/x"});
  for (const char* old : {"dist/index.js", "dist", "vendor/modules.txt", "vendor"}) tree.setModified(old, packed);
  EXPECT_EQ(evidenceOf(tree, "dist"), "–");
  EXPECT_EQ(evidenceOf(tree, "vendor"), "–");
  // A newer build beside it.
  EXPECT_EQ(evidenceOf(tree, ".next"), "beside package.json");
}

TEST(ArtifactEvidence, AStrangersFilesInASharedFolderAreNone) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  constexpr uid_t stranger = 65534;
  const TemporaryTree tree;
  makeEntries(tree, {"above/p/package.json={}", "above/p/node_modules/x/f",
                     "above/yarn.lock=a@1:", "above/package.json={\"workspaces\":[\"p\"]}", "beside/requirements.txt=x",
                     "beside/.venv/pyvenv.cfg", "inside/target/CACHEDIR.TAG", "inside/target/x/a.rs"});
  const std::vector<std::array<std::string, 4>> rows{
      {"above", "above/yarn.lock", "above/p/node_modules", "beside package.json"},
      {"beside", "beside/requirements.txt", "beside/.venv", "holds pyvenv.cfg"},
      {"inside/target", "inside/target/CACHEDIR.TAG", "inside/target", "holds CACHEDIR.TAG"},
  };
  const auto give = [&](const std::string& entry, uid_t owner) {
    ASSERT_EQ(::chown(tree.path(entry).c_str(), owner, owner), 0);
  };
  for (const auto& [shared, file, artifact, evidence] : rows) {
    // Whoever owns the folder around may rename any folder in it.
    for (const unsigned mode : {01777U, 0755U}) {
      give(shared, mode == 0755 && artifact != shared ? stranger : 0);
      tree.setMode(shared, mode);
      give(file, 0);
      EXPECT_EQ(evidenceOf(tree, artifact), evidence);
      give(file, stranger);
      const auto verdict = verdictOn(tree, artifact);
      const auto* gap = std::get_if<EvidenceGap>(&verdict);
      ASSERT_NE(gap, nullptr) << artifact;
      EXPECT_EQ(gap->reason == EvidenceGap::Reason::strangersManifest, artifact == "beside/.venv");
    }
  }
  give("inside/target", stranger);
  EXPECT_EQ(evidenceOf(tree, "inside/target"), "holds CACHEDIR.TAG") << "of the owner";
}

TEST(ArtifactEvidence, WhereOthersCouldHaveGivenTheNameOnlyMarksAreEvidence) {
  const TemporaryTree tree;
  makeEntries(
      tree, {"p/package.json={\"dependencies\":{\"a\":\"1\"}}", "p/.gitignore=.next", "p/node_modules/a.csv",
             "p/.next/a.csv", "q/package.json={\"dependencies\":{\"a\":\"1\"}}", "q/node_modules/.package-lock.json"});
  for (const auto& [mode, isShared] : {std::pair{0755U, false}, {0777U, true}, {01777U, false}}) {
    tree.setMode("p", mode);
    tree.setMode("q", mode);
    EXPECT_EQ(evidenceOf(tree, "p/node_modules"), isShared ? "–" : "beside package.json") << mode;
    EXPECT_EQ(evidenceOf(tree, "p/.next"), isShared ? "–" : "ignored by a .gitignore above it") << mode;
    EXPECT_EQ(evidenceOf(tree, "q/node_modules"), "holds .package-lock.json") << mode;
  }
}

}  // namespace
}  // namespace tidra
