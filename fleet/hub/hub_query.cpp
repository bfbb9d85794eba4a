#include "fleet/hub/hub_query.h"

#include "core/base/errors.h"
#include "core/base/quantities.h"
#include "core/base/text.h"

namespace tidra {

std::string HubQuery::text(const std::string& name) const {
  const auto pair = pairs_.find(name);
  return pair == pairs_.end() ? "" : pair->second;
}

std::optional<std::size_t> HubQuery::count(const std::string& name) const {
  const auto pair = pairs_.find(name);
  if (pair == pairs_.end()) return std::nullopt;
  try {
    return parseCount(pair->second);
  } catch (const InputError&) {
    refuse(name, pair->second, "a whole number, such as 0 or 25");
  }
}

bool HubQuery::isWanted(const std::string& name) const {
  const auto pair = pairs_.find(name);
  if (pair == pairs_.end() || pair->second == "1") return true;
  if (pair->second == "0") return false;
  refuse(name, pair->second, "0 or 1");
}

void HubQuery::refuse(const std::string& name, const std::string& given, const std::string& expected) {
  throw HubRefusal(400,
                   fmt::format("the parameter {} is '{}'; it must be {}", name, escapedForTerminal(given), expected));
}

}  // namespace tidra
