#include "core/platform/process_files_linux.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {

std::optional<std::int64_t> ProcessFiles::number(std::string_view text) { return wholeNumber(text); }

std::map<std::string, std::string, std::less<>> ProcessFiles::boundSockets() {
  std::map<std::string, std::string, std::less<>> sockets;
  const auto text = readFile("/proc/net/unix");
  if (!text) return sockets;
  for (const std::string_view line : splitNonEmpty(*text, '\n')) {
    constexpr std::size_t inodeField = 6;
    const auto path = line.find(" /");  // abstract ones begin with "@"
    const auto fields = splitNonEmpty(line.substr(0, path), ' ');
    if (path == std::string_view::npos || fields.size() <= inodeField) continue;
    sockets.emplace(fields[inodeField], line.substr(path + 1));
  }
  return sockets;
}

std::set<std::pair<std::int64_t, std::int64_t>> ProcessFiles::heldLocks() {
  std::set<std::pair<std::int64_t, std::int64_t>> locks;
  const auto text = readFile("/proc/locks");
  if (!text) return locks;
  for (const std::string_view line : splitNonEmpty(*text, '\n')) {
    const auto fields = splitNonEmpty(line, ' ');
    constexpr std::size_t processField = 4;
    constexpr std::size_t fileField = 5;
    if (fields.size() <= fileField || fields[1] == "->") continue;
    const auto process = number(fields[processField]);
    const auto file = split(fields[fileField], ':');
    const auto inode = file.size() == 3 ? number(file[2]) : std::nullopt;
    if (process && inode) locks.emplace(*process, *inode);
  }
  return locks;
}

std::vector<std::string> ProcessFiles::firstArguments(std::int64_t process, std::size_t most) {
  const FileDescriptor file(::open(fmt::format("/proc/{}/cmdline", process).c_str(), O_RDONLY | O_CLOEXEC));
  std::array<char, std::size_t{2} * PATH_MAX> text;
  const auto length = file ? ::read(file.get(), text.data(), text.size()) : 0;
  std::vector<std::string> arguments;
  if (length <= 0) return arguments;
  for (const auto argument : split(std::string_view(text.data(), static_cast<std::size_t>(length)), '\0')) {
    if (arguments.size() < most) arguments.emplace_back(argument);
  }
  return arguments;
}

std::vector<std::string_view> ProcessFiles::possiblePaths(std::string_view argument) {
  std::vector<std::string_view> texts{argument};
  if (const auto at = argument.find('='); at != std::string_view::npos) texts.push_back(argument.substr(at + 1));
  constexpr std::string_view scheme = "file://";
  if (const auto at = argument.find(scheme); at != std::string_view::npos) {
    texts.push_back(argument.substr(at + scheme.size()));
  }
  if (texts.back().find(':') == std::string_view::npos) return texts;
  for (const auto piece : splitNonEmpty(texts.back(), ':')) {
    if (piece.find('/') != std::string_view::npos) texts.push_back(piece);
  }
  return texts;
}

std::string ProcessFiles::asSeenBy(std::int64_t process, const std::string& path) {
  struct Way {
    std::string_view own;
    std::string_view below;  // "/proc/PROCESS"
  };
  constexpr std::array ways{Way{"/dev/fd", "/fd"},       Way{"/dev/stdin", "/fd/0"}, Way{"/dev/stdout", "/fd/1"},
                            Way{"/dev/stderr", "/fd/2"}, Way{"/proc/self", ""},      Way{"/proc/thread-self", ""}};
  const std::string plain = standardizedPath(path);
  const auto leads = [&](const Way& way) { return isSameOrInside(plain, way.own); };
  const auto* way = std::find_if(ways.begin(), ways.end(), leads);
  if (way == ways.end()) return path;
  return fmt::format("/proc/{}{}{}", process, way->below, std::string_view(plain).substr(way->own.size()));
}

std::string ProcessFiles::mappedPath(std::string_view line) {
  const auto start = line.find('/');
  std::string path(start == std::string_view::npos ? std::string_view{} : line.substr(start));
  constexpr std::string_view lineBreak = "\\012";
  for (auto at = path.find(lineBreak); at != std::string::npos; at = path.find(lineBreak, at)) {
    path.replace(at, lineBreak.size(), "\n");
  }
  return path;
}

}  // namespace tidra
