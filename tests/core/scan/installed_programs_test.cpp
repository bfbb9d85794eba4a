// Programs, by their place and by what leads to them: through a home folder that is a link, commands, services and menu
// entries.
#include "core/scan/installed_programs.h"

#include "core/platform/path_text.h"
#include "core/scan/finding_assessment.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

TEST(InstalledPrograms, AreKnownByTheirPlaceAndByWhatLiesAround) {
  const TemporaryTree tree;
  makeEntries(tree,
              {"prefix/bin/", "prefix/lib/node_modules/x/f", "node-v20/lib/node_modules/npm/bin/npm-cli.js",
               "lib/node_modules/f", "Foo/resources.pak", "Foo/resources/app/node_modules/f", "Bar/resources/app.asar",
               "Bar/resources/node_modules/f", "site/resources/app/node_modules/f", "kit/node/bin/node=x",
               "kit/node_modules/f", "home/.dotfiles/.git/", "home/.dotfiles/site/", "home/bot/.venv/bin/bot",
               "home/.local/bin/bot->../../bot/.venv/bin/bot", "app/package.json", "app/node_modules/f",
               "code-portable/data/extensions/extensions.json", "shop/data/extensions/x/f"});
  tree.setMode("kit/node/bin/node", 0755);
  const InstalledPrograms programs({tree.path("home"), {}});
  for (const auto& [path, owner] :
       rowsOf("prefix/lib/node_modules => npm | node-v20/lib/node_modules => npm | lib/node_modules => – | "
              "Foo/resources/app/node_modules => Foo | Bar/resources/node_modules => Bar | "
              "site/resources/app/node_modules => – | kit/node_modules => kit | app/node_modules => – | "
              "home/.nvm/versions/node/v20/lib/node_modules => nvm | "
              "home/.vscode-oss/extensions/a.b-1.2/node_modules => a.b-1.2 | "
              "home/.local/share/pipx/venvs/black/build => black | "
              "home/.config/discord/0.0.1/modules/x/node_modules => discord | home/configs/x/node_modules => – | "
              "code-portable/data/extensions/a.b-1.2/server/node_modules => a.b-1.2 | "
              "shop/data/extensions/x/node_modules => – | home/.n8n/nodes/node_modules => n8n | "
              "home/.dotfiles/site/node_modules => – | home/bot/.venv => bot | "
              "home/Foo.app/Contents/Resources/app/node_modules => application bundle"))
    EXPECT_EQ(programs.ownerOf(tree.path(path)).value_or("–"), owner) << path;
}

TEST(InstalledPrograms, AreKnownByWhatLeadsIntoThem) {
  const TemporaryTree tree;
  const std::string home = tree.path("home");
  makeEntries(tree,
              {"real/src/tool/cli.js",
               "real/src/linked/",
               "real/src/env/.venv/bin/python->/usr/bin/env",
               "real/.local/bin/tool->../../src/tool/cli.js",
               "real/.local/bin/py->../../src/env/.venv/bin/python",
               "real/.npm-global/lib/node_modules/linked->../../../src/linked",
               "real/src/bot/.venv/bin/",
               "real/src/my bot/.venv/bin/",
               "real/bin/bot=#!/bin/sh\nexec " + home + "/src/bot/.venv/bin/python -m bot\n",
               "real/bin/spaced=\"$HOME/src/my bot/.venv/bin/python\"\n",
               "real/src/svc/.venv/bin/",
               "real/.config/systemd/user/svc.service=[Service]\nExecStart=%h/src/svc/.venv/bin/python -m svc\n",
               "real/src/nb/.venv/bin/",
               "real/.local/share/jupyter/kernels/nb/kernel.json={\"argv\":[\"" + home + "/src/nb/.venv/bin/python\"]}",
               "real/src/run/main.js",
               "real/bin/run=node ~/src/run/main.js\nls ~/src/js\n",
               "real/src/rs/target/release/",
               "real/src/js/node_modules/.bin/",
               "real/src/on/.venv/bin/",
               "real/src/mono/package.json",
               "real/.local/bin/large=" + std::string(70000, ' ') + home + "/src/mono/dist",
               "home->real",
               "real/.server->../scratch",
               "scratch/ext/node_modules/",
               "scratch/own/.git/",
               "scratch/own/dist/",
               "real/.mytool/app/node_modules/",
               "real/node_modules/",
               "other/node_modules/",
               "apps/serve-4.9/lib/node=x",
               "apps/serve-4.9/lib/vs/extensions/git/node_modules/",
               "code/.git/",
               "code/node=x",
               "code/p/q/node_modules/"});
  for (const char* program : {"apps/serve-4.9/lib/node", "code/node"}) tree.setMode(program, 0755);
  const std::string searched =
      home + "/src/rs/target/release:" + home + "/src/js/node_modules/.bin:" + home + "/src/on/.venv/bin:/usr/bin:.";
  const InstalledPrograms programs({home, {{"PATH", searched}, {"VIRTUAL_ENV", home + "/src/on/.venv"}}});
  const std::vector<std::pair<std::string, std::string>> rows{
      {"src/tool/node_modules", "tool"},
      {"src/linked/node_modules", "linked"},
      {"src/env/.venv", "py"},
      {"src/bot/.venv", "mentioned by bot"},
      {"src/run/node_modules", "mentioned by run"},
      {"src/bot/build", "–"},
      {"src/my bot/.venv", "mentioned by spaced"},
      {"src/svc/.venv", "svc.service"},
      {"src/nb/.venv", "nb"},
      {"src/rs/target", "~/src/rs/target/release (in PATH)"},
      {"src/js/node_modules", "–"},
      {"src/on/.venv", "–"},
      {"src/mono/dist", "–"},
      {".mytool/app/node_modules", "mytool"},
      {"node_modules", "–"},
      {"../other/node_modules", "–"},
      {"../scratch/ext/node_modules", "server"},
      {"../scratch/own/dist", "–"},
      {"../apps/serve-4.9/lib/vs/extensions/git/node_modules", "serve-4.9"},
      {"../code/p/q/node_modules", "–"}};
  for (const char* way : {"real", "home"}) {
    for (const auto& [below, owner] : rows) {
      const std::string path = standardizedPath(tree.path(way) + "/" + below);
      const auto mention = programs.mentionedBy(path, parentPath(path));
      const std::string otherwise = mention ? "mentioned by " + *mention : "–";
      EXPECT_EQ(programs.ownerOf(path, parentPath(path)).value_or(otherwise), owner) << path;
    }
  }
}

TEST(InstalledPrograms, AFullPlaceHidesNoOtherAndIsNamed) {
  const TemporaryTree tree;
  for (int i = 0; i < 8193; ++i) tree.writeFile("home/bin/" + std::to_string(i));
  makeEntries(tree, {"home/src/late/.venv/bin/", "home/.local/bin/late=#!/bin/sh\nexec ~/src/late/.venv/bin/python\n"});
  FoundArtifact late;
  late.finding.path = late.place = tree.path("home/src/late/.venv");
  late.finding.groupRoot = parentPath(late.place);
  late.finding.ruleID = "x";
  std::vector<FoundArtifact> found{late};
  EXPECT_THAT(assessFindings(found, {}, currentPlatform, {tree.path("home"), {}}, [] { return false; }),
              ElementsAre(HasSubstr("Not all entries of ~/bin/* could be read")));
  EXPECT_EQ(found[0].finding.restoreHint, "Named in late, which may need it");
}

TEST(InstalledPrograms, PathsInTextsEndWhereAShellOrUnitEndsThem) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows{
      {"PATH=/a/b:~/c; cd \"$HOME\"/d && '/e f/g' --x=${HOME}/h,y", {"/a/b", "/u/c", "/u/d", "/e f/g", "/u/h"}},
      {R"(exec /a\ b/c "$HOME/my x/y" $DIR/z ./w v/u)", {"/a b/c", "/u/my x/y"}},
      {"#!/usr/bin/env\n<string>/k/l</string> \"\\/m\\/n\" /o/$X", {"/usr/bin/env", "/k/l", "/m/n", "/o/"}},
      {"/", {"/"}},
      {"~", {}}};
  for (const auto& [text, paths] : rows) EXPECT_EQ(pathsNamedIn(text, "/u"), paths) << text;
}

}  // namespace
}  // namespace tidra
