#include "core/model/system_group_root.h"

#include <array>

namespace tidra {
namespace {

struct NamedRoot {
  std::string_view category;
  std::string_view name;
};

/// Categories whose group root does not use their key.
constexpr std::array namedRoots{
    NamedRoot{"globalCaches", "caches"},
    NamedRoot{"globalModules", "global_modules"},
    NamedRoot{"aiTools", "ai_tools"},
    NamedRoot{"agentHost", "agent_host"},
};

constexpr std::string_view suffix = "__";

}  // namespace

std::string TidraSystemGroupRoot::forCategory(std::string_view key) {
  std::string_view name = key;
  for (const NamedRoot& root : namedRoots) {
    if (root.category == key) name = root.name;
  }
  return std::string(prefix) + std::string(name) + std::string(suffix);
}

std::optional<std::string> TidraSystemGroupRoot::category(std::string_view groupRoot) {
  if (!groupRoot.starts_with(prefix) || !groupRoot.ends_with(suffix)) return std::nullopt;
  if (groupRoot.size() < prefix.size() + suffix.size()) return std::nullopt;
  const auto name = groupRoot.substr(prefix.size(), groupRoot.size() - prefix.size() - suffix.size());
  for (const NamedRoot& root : namedRoots) {
    if (root.name == name) return std::string(root.category);
  }
  return std::string(name);
}

}  // namespace tidra
