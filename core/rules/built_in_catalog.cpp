#include <cstdio>
#include <cstdlib>

#include "core/rules/rule_catalog.h"

namespace tidra {

/// Contents of built_in_catalog.json, embedded at build time.
extern const std::string_view builtInCatalogText;

const RuleCatalog& RuleCatalog::builtIn() {
  static const RuleCatalog catalog = [] {
    try {
      return load(builtInCatalogText);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "Built-in rule catalog is invalid: %s\n", error.what());
      std::abort();
    }
  }();
  return catalog;
}

}  // namespace tidra
