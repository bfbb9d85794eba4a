#include "core/platform/host.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace tidra {
namespace {

/// Returns what `read` takes from the effective user's entry in the password database; nullopt if there is none.
template <class Read>
std::optional<std::string> fromPasswordEntry(Read read) {
  constexpr std::size_t enoughForOne = 16384;
  std::vector<char> buffer(enoughForOne);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return std::nullopt;
  return found == nullptr ? std::nullopt : std::optional<std::string>(read(*found));
}

}  // namespace

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
  return fromPasswordEntry([](const passwd& entry) { return entry.pw_name; }).value_or(std::to_string(::geteuid()));
}

std::optional<std::string> TidraHost::homeFolder() {
  auto home = fromPasswordEntry([](const passwd& entry) { return entry.pw_dir; });
  if (home && !home->starts_with('/')) home.reset();
  return home;
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
