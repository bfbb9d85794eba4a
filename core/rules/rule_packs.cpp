#include "core/rules/rule_packs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/base/json_fields.h"
#include "core/base/nearest_word.h"
#include "core/base/text.h"

namespace tidra {

/// One JSON object: the name of each pack → its document, embedded at build time.
extern const std::string_view rulePacksText;

namespace {

std::vector<RulePack> decodedPacks() {
  const std::string what = "The rule packs";
  std::vector<RulePack> packs;
  const auto document = parseJson(rulePacksText, what);
  for (const auto& [name, value] : document.items()) {
    const JsonObjectReader reader(value, name);
    RulePack& pack = packs.emplace_back();
    pack.name = name;
    pack.title = reader.required<std::string>("title");
    pack.covers = reader.required<std::string>("covers");
    pack.catalog = JsonCodec<RuleCatalog>::decode(value, name);
    pack.catalog.catalogVersion = name;
    RuleCatalog::validate(pack.catalog.projectRules, pack.catalog.systemRules);
  }
  std::sort(packs.begin(), packs.end(), [](const auto& one, const auto& other) { return one.name < other.name; });
  return packs;
}

}  // namespace

const std::vector<RulePack>& RulePack::all() {
  static const std::vector<RulePack> packs = [] {
    try {
      return decodedPacks();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "A built-in rule pack is invalid: %s\n", error.what());
      std::abort();
    }
  }();
  return packs;
}

const RulePack* RulePack::find(std::string_view name) {
  const auto& packs = all();
  const auto found = std::find_if(packs.begin(), packs.end(), [&](const RulePack& pack) { return pack.name == name; });
  return found == packs.end() ? nullptr : &*found;
}

std::string RulePack::unknownText(std::string_view name) {
  std::vector<std::string> known;  // name and title of each pack
  for (const RulePack& pack : all()) known.insert(known.end(), {pack.name, pack.title});
  const auto nearest = nearestWord(name, known);
  return fmt::format(
      "unknown rule pack '{}'; {}", escapedForTerminal(name),
      nearest ? fmt::format("did you mean {}?", known[*nearest / 2 * 2]) : "tidra rules packs lists them");
}

}  // namespace tidra
