#include "core/scan/exclusion_filter.h"

#include <fnmatch.h>
#include <gtest/gtest.h>

#include <random>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_entry.h"
#include "core/scan/walk_filter.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

/// The reference implementation: suffix by suffix, without shortcuts.
bool excludedByDefinition(const TidraScanExclusionFilter& filter, std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  if (path.empty()) return false;
  for (const std::string& prefix : filter.pathPrefixes) {
    if (path == prefix || path.starts_with(prefix == "/" ? prefix : prefix + "/")) return true;
  }
  for (const std::string& pattern : filter.globPatterns) {
    const auto matches = [&](const char* text) { return ::fnmatch(pattern.c_str(), text, FNM_PATHNAME) == 0; };
    if (matches(path.c_str())) return true;
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
      if (path[i] == '/' && matches(path.c_str() + i + 1)) return true;
    }
  }
  return false;
}

TEST(ExclusionFilter, PrefixesAndPatterns) {
  using Texts = std::vector<std::string>;
  struct Case {
    Texts prefixes, patterns, excluded, searched;
  };
  for (const Case& c : std::vector<Case>{
           {{}, {}, {}, {"/any/where"}},
           {{}, {"*"}, {"/x"}, {""}},
           {{"/"}, {}, {"/a"}, {}},
           {{"/home/u/work"},
            {},
            {"/home/u/work", "/home/u/work/x", "/home/u/work/x///"},
            {"/home/u/workshop", "/home/u", "/other/home/u/work"}},
           {{"/x", "/a/b"}, {}, {"/a/b/c"}, {"/a"}},
           {{}, {".git"}, {"/any/where/.git", "/any/where/.git/"}, {"/any/where/.github", "/any/.git/hooks"}},
           {{}, {"vendor"}, {"/vendor"}, {}},
           {{}, {"*/vendor/*"}, {"/p/vendor/lib", "/vendor/lib"}, {"/p/vendor/lib/deep", "/p/vendor"}},
           {{}, {"vendor/lib"}, {"/p/vendor/lib", "/vendor/lib"}, {}},
           {{}, {"/vendor/lib"}, {"/vendor/lib"}, {"/p/vendor/lib"}},
           {{}, {"/**/lib"}, {"/p/lib"}, {"/p/q/lib"}},
           {{}, {"/home/u/work/**"}, {"/home/u/work/x"}, {"/home/u/work"}},
           {{}, {"b?ild"}, {"/p/build"}, {"/p/b/ild"}},
           {{}, {"[bt]*"}, {"/p/target"}, {}},
           {{}, {"[!bt]*"}, {}, {"/p/target"}},
           {{}, {"\\*"}, {"/p/*"}, {"/p/x"}},
           {{}, {"Vendor"}, {}, {"/p/vendor"}},
           {{}, {"no", "yes"}, {"/p/yes"}, {}},
           {{}, {"x."}, {"/p/x."}, {"/p/x"}},
       }) {
    const TidraScanExclusionFilter filter{c.prefixes, c.patterns};
    for (const Texts* paths : {&c.excluded, &c.searched}) {
      for (const std::string& path : *paths) {
        EXPECT_EQ(filter.isExcluded(path), paths == &c.excluded)
            << path << " with " << joined(c.prefixes, " ") << " and " << joined(c.patterns, " ");
        EXPECT_EQ(excludedByDefinition(filter, path), paths == &c.excluded) << path;
      }
    }
  }
}

/// Random filters and paths over a few names, so that they often match. Deterministic.
class Generator {
 public:
  std::vector<std::string> components(std::size_t most) {
    std::vector<std::string> made;
    for (std::size_t count = 1 + below(most); count > 0; --count) made.emplace_back(pick(names));
    return made;
  }

  TidraScanExclusionFilter filter() {
    TidraScanExclusionFilter made;
    for (std::size_t count = below(3); count > 0; --count)
      made.pathPrefixes.push_back("/" + joined(components(4), "/"));
    for (std::size_t count = 1 + below(3); count > 0; --count) {
      std::string pattern = below(4) == 0 ? "/" : "";
      for (std::size_t left = 1 + below(4); left > 0; --left) {
        pattern += below(2) == 0 ? pick(names) : pick(pieces);
        if (left > 1 || below(16) == 0) pattern += '/';
      }
      made.globPatterns.push_back(pattern);
    }
    return made;
  }

  std::size_t below(std::size_t bound) { return random_() % bound; }

 private:
  using Words = std::vector<std::string>;

  const std::string& pick(const Words& words) { return words[below(words.size())]; }

  const Words names{"a", "b", "ab", "a.", ".a", "]", "[a]", "a\\", "*", "-"};
  const Words pieces{"*",      "**",     "?",           "a*",           "*b",    "[ab]",  "[!a]",
                     "[]a]",   "[a/b]",  "[]/]",        "[!]/b]",       "[a/",   "[",     "\\a",
                     "a\\/b",  "a\\",    "[[:alpha:]]", "[[:alpha:]/]", "[\\]]", "\\[a]", "*.",
                     "[a-b]*", "[^]/a]", "[a]]",        ".*",           "",      "[/]"};
  std::mt19937 random_{20260314};
};

TEST(ExclusionFilter, CompiledForAWalkItSaysTheSameAsTheDefinition) {
  Generator generator;
  std::size_t excluded = 0;
  for (int round = 0; round < 30000; ++round) {
    const TidraScanExclusionFilter definition = generator.filter();
    const auto components = generator.components(6);
    const std::size_t ofRoot = generator.below(components.size() + 1);
    std::string path = ofRoot == 0 ? "/" : "";
    for (std::size_t i = 0; i < ofRoot; ++i) path += "/" + components[i];

    WalkFilter filter;
    filter.add(definition);
    if (filter.bars(path)) continue;
    const auto* place = filter.placeOf(path);
    auto node = std::make_shared<FolderNode>(nullptr, path, FileDescriptor());
    for (std::size_t i = ofRoot; i < components.size(); ++i) {
      path = joinedPath(path, components[i]);
      const bool expected = excludedByDefinition(definition, path);
      ASSERT_EQ(definition.isExcluded(path), expected) << path << " with " << joined(definition.globPatterns, " ");
      ASSERT_EQ(FolderFilter(filter, place, *node).bars(components[i]), expected)
          << path << " with " << joined(definition.pathPrefixes, " ") << " and "
          << joined(definition.globPatterns, " ");
      ASSERT_EQ(filter.bars(path), expected) << path;
      if (expected) {
        ++excluded;
        break;
      }
      place = WalkFilter::childPlace(place, components[i]);
      node = std::make_shared<FolderNode>(node, components[i], FileDescriptor());
    }
  }
  EXPECT_GT(excluded, 1000U) << "the names meet too seldom to prove anything";
}

TEST(ExclusionFilter, RowsOfAListBecomePrefixesAndPatterns) {
  const TidraPathResolver resolver{"/home/u", {{"WORK", "/srv/work"}}};
  const auto row = [](ExclusionRowKind kind, const std::string& text) {
    return ExclusionEntry{.id = "1", .pathDisplay = text, .kind = kind, .addedAt = {}};
  };
  using enum ExclusionRowKind;
  const auto filter =
      makeExclusionFilter({row(project, "~/p/../q/"), row(path, "$WORK/x"), row(path, "/p/$NOWHERE/$"),
                           row(pattern, "*/vendor/*"), row(pattern, "~/work/**"), row(pattern, "dist/")},
                          resolver);
  EXPECT_EQ(filter.pathPrefixes,
            (std::vector<std::string>{"/home/u/q", "/srv/work/x", "/p/$NOWHERE/$", "/home/u/work/**"}));
  EXPECT_EQ(filter.globPatterns, (std::vector<std::string>{"*/vendor/*", "/home/u/work/**", "dist"}));

  const ExclusionEntry foreign{"id", "/p/\xff\n", pattern, TimePoint{std::chrono::seconds{1700000000}}};
  EXPECT_EQ(JsonCodec<ExclusionEntry>::decode(toJson(foreign), "row"), foreign);
}

/// A text typed in the folder "here" of the tree, and the entries excluded by it.
TEST(ExclusionFilter, ATextThatNamesAnEntryIsThatEntry) {
  const TemporaryTree tree;
  for (const char* path : {"here/wt[1]/x", "here/wt1/x", "here/pages/[id]/x", "here/pages/i/x", "here/vendor/x",
                           "here/src/gen/x", "vendor/x", "other/src/gen/x", "other/pages/[id]/x", "other/pages/d/x"})
    tree.writeFile(path, "");
  const TidraPathResolver resolver{tree.path("home"), {{"HERE", tree.path("here")}, {"ODD", tree.path("here/wt[1]")}}};
  using enum ExclusionRowKind;
  struct Case {
    std::string text;
    ExclusionRowKind kind;
    std::vector<std::string> kept;
    std::vector<std::string> searched;
  };
  const std::string absolute = tree.path("here/wt[1]");
  const std::vector<Case> cases{
      {absolute, path, {"here/wt[1]"}, {"here/wt1"}},
      {"$HERE/wt[1]", path, {"here/wt[1]"}, {"here/wt1"}},
      {"wt[1]", path, {"here/wt[1]"}, {"here/wt1"}},
      {"./wt[1]", path, {"here/wt[1]"}, {"here/wt1"}},
      {"./wt[2]", pattern, {"here/wt[2]", "here/wt2"}, {"wt2", "here/wt3"}},
      {"./src/**", pattern, {"here/src/gen"}, {"other/src/gen", "vendor"}},
      {"../v*", pattern, {"vendor"}, {"here/vendor"}},
      {"src/./*", pattern, {"here/src/gen"}, {"other/src/gen"}},
      {absolute + "/*", pattern, {"here/wt[1]/x"}, {"here/pages/i"}},
      {"./none", path, {"here/none"}, {"none"}},
      {"pages/[id]", path, {"here/pages/[id]"}, {"here/pages/i", "other/pages/[id]"}},
      {"src/gen", path, {"here/src/gen"}, {"other/src/gen"}},
      {"../vendor", path, {"vendor"}, {"here/vendor"}},
      {"src/../vendor", path, {"here/vendor"}, {"vendor"}},
      {"vendor", pattern, {"here/vendor", "vendor"}, {"here/src"}},
      {"[slug]", pattern, {"here/[slug]", "other/s"}, {"other/slug"}},
      {"pages/[di]", pattern, {"here/pages/i", "other/pages/d", "other/pages/[di]"}, {"other/pages/di"}},
      {absolute + "/[ab]", pattern, {"here/wt[1]/[ab]", "here/wt1/a"}, {"here/wt[1]/ab"}},
      {"$ODD/[ab]*", pattern, {"here/wt[1]/ab", "here/wt[1]/[ab]*"}, {"here/wt[1]/c"}},
  };
  for (const Case& c : cases) {
    const auto typed = TypedExclusion::read(c.text, resolver, tree.path("here"));
    EXPECT_EQ(typed.kind, c.kind) << c.text;
    const bool isNoted = c.kind == pattern ? c.text.find('[') != std::string::npos || c.text.find("./") < c.text.size()
                                           : c.text == "./none";
    EXPECT_EQ(typed.note.has_value(), isNoted) << c.text;
    // As stored now, and as earlier versions stored it.
    for (const auto& [text, kind] : {std::pair(typed.text, typed.kind), std::pair(c.text, pattern)}) {
      const bool isOld = text != typed.text || kind != typed.kind;
      if (isOld && !looksLikePath(resolver.expandVariables(text))) continue;
      const auto filter =
          makeExclusionFilter({{.id = "1", .pathDisplay = text, .kind = kind, .addedAt = {}}}, resolver);
      for (const auto& kept : c.kept) EXPECT_TRUE(filter.isExcluded(tree.path(kept))) << c.text << " " << kept;
      for (const auto& other : c.searched) EXPECT_FALSE(filter.isExcluded(tree.path(other))) << c.text << " " << other;
    }
  }
}

TEST(ExclusionFilter, APatternCountsThroughTheLinksThatItMatches) {
  const TemporaryTree tree;
  for (const char* file : {"real/client/x", "real/other/x", "deep/in/keep", "top/x"}) tree.writeFile(file, "");
  tree.symlink("link", "real");
  tree.symlink("deep/in/way", "../../real");
  tree.symlink("deep/up", "..");
  tree.symlink("real/nowhere", "missing");
  for (const char* pattern : {"li*/client", "lin[k]/client", "?ink/c*", "link/*ent", "*/in/way/client",
                              "deep/**/way/c[l]*", "deep/u*/li*/client", "*/*/*/client", "li*/clien[t]/"}) {
    TidraScanExclusionFilter filter;
    addExclusion(filter, tree.path(pattern), {}, true);
    filter.keptPatterns = filter.globPatterns;
    filter = withLinksResolved(filter);
    const TidraScanExclusionFilter kept{filter.keptPrefixes, filter.keptPatterns};
    for (const TidraScanExclusionFilter& each : {filter, kept}) {
      EXPECT_TRUE(each.isExcluded(tree.path("real/client"))) << pattern;
      EXPECT_FALSE(each.isExcluded(tree.path("real/other")) || each.isExcluded(tree.path("top"))) << pattern;
    }
  }
  TidraScanExclusionFilter all{{}, {tree.path("deep/*")}};
  EXPECT_FALSE(withLinksResolved(all).isExcluded(tree.path("top"))) << "a link to a folder around it";
}

}  // namespace
}  // namespace tidra
