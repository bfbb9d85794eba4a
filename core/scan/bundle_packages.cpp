#include "core/scan/bundle_packages.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tidra {
namespace {

constexpr std::array extensions{
    std::string_view{"app"},          std::string_view{"appex"},      std::string_view{"bundle"},
    std::string_view{"component"},    std::string_view{"dsym"},       std::string_view{"framework"},
    std::string_view{"kext"},         std::string_view{"mdimporter"}, std::string_view{"photoslibrary"},
    std::string_view{"playground"},   std::string_view{"plugin"},     std::string_view{"prefpane"},
    std::string_view{"qlgenerator"},  std::string_view{"rtfd"},       std::string_view{"saver"},
    std::string_view{"scptd"},        std::string_view{"workflow"},   std::string_view{"xcarchive"},
    std::string_view{"xcdatamodeld"}, std::string_view{"xcodeproj"},  std::string_view{"xcworkspace"},
    std::string_view{"xpc"},
};

constexpr std::size_t longestExtension = 13;

bool equalsIgnoringCase(std::string_view text, std::string_view lowered) {
  return std::equal(text.begin(), text.end(), lowered.begin(), lowered.end(), [](char given, char wanted) {
    return (given >= 'A' && given <= 'Z' ? static_cast<char>(given - 'A' + 'a') : given) == wanted;
  });
}

}  // namespace

bool isBundlePackage(std::string_view folderName) {
  const auto dot = folderName.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return false;
  const auto extension = folderName.substr(dot + 1);
  if (extension.size() > longestExtension) return false;
  return std::any_of(extensions.begin(), extensions.end(),
                     [&](std::string_view known) { return equalsIgnoringCase(extension, known); });
}

}  // namespace tidra
