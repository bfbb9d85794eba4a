#include "core/model/system_scan_categories.h"

namespace tidra {

std::string systemScanCategoryName(std::string_view key) {
  for (const auto& category : systemScanCategoryTable) {
    if (category.key == key) return std::string(category.name);
  }
  return std::string(key);
}

}  // namespace tidra
