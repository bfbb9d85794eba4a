#include "core/platform/host.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace tidra {

std::string TidraHost::name(const Environment& environment) {
  if (const auto given = environment.find("TIDRA_HOSTNAME"); given != environment.end() && !given->second.empty()) {
    return given->second;
  }
  std::array<char, 256> buffer{};
  // gethostname() may omit the terminator when it truncates; the last byte stays NUL.
  if (::gethostname(buffer.data(), buffer.size() - 1) == 0 && buffer[0] != '\0') return buffer.data();
  return "unknown-host";
}

std::string TidraHost::userName() {
  constexpr std::size_t enoughForOne = 16384;
  std::vector<char> buffer(enoughForOne);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return found->pw_name;
  }
  return std::to_string(::geteuid());
}

bool TidraHost::isOwnGroup(std::uint32_t group) {
  constexpr std::size_t enoughForSmallGroup = 16384;
  std::vector<char> buffer(enoughForSmallGroup);
  ::group entry{};
  ::group* found = nullptr;
  if (::getgrgid_r(group, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return false;
  const std::string user = userName();
  if (user != found->gr_name) return false;
  for (char** member = found->gr_mem; *member != nullptr; ++member) {
    if (user != *member) return false;
  }
  return true;
}

}  // namespace tidra
