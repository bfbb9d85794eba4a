#include "core/rules/rule_packs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "core/base/json_fields.h"
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

/// The Levenshtein distance: how many letters to insert, drop or replace.
std::size_t distanceBetween(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
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
  constexpr std::size_t mostLetters = 64;
  const std::string typed = asciiLowered(name.substr(0, mostLetters));
  const auto distance = [&](const RulePack& pack) {
    return std::min(distanceBetween(typed, pack.name), distanceBetween(typed, asciiLowered(pack.title)));
  };
  const auto nearest = std::min_element(all().begin(), all().end(), [&](const RulePack& one, const RulePack& other) {
    return distance(one) < distance(other);
  });
  const bool isNear = distance(*nearest) * 2 < std::max(typed.size(), std::size_t{2});
  return fmt::format("unknown rule pack '{}'; {}", escapedForTerminal(name),
                     isNear ? fmt::format("did you mean {}?", nearest->name) : "tidra rules packs lists them");
}

}  // namespace tidra
