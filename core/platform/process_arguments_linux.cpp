#include "core/platform/process_arguments_linux.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "core/base/text.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Whether the kernel resolves the path differently for each process. What it names there is an open file or a mapping,
/// and found as such; here it would be a file of this process.
bool isOfEachProcess(std::string_view path) {
  constexpr std::array<std::string_view, 6> places{"/proc/self", "/proc/thread-self", "/dev/fd",
                                                   "/dev/stdin", "/dev/stdout",       "/dev/stderr"};
  return path.starts_with('/') && std::any_of(places.begin(), places.end(), [&](std::string_view place) {
           return isSameOrInside(standardizedPath(path), place);
         });
}

std::vector<std::string_view> piecesOf(std::string_view argument) {
  std::vector<std::string_view> pieces{argument};
  if (const auto at = argument.find('='); at != std::string_view::npos) pieces.push_back(argument.substr(at + 1));
  constexpr std::string_view scheme = "file://";
  if (const auto at = argument.find(scheme); at != std::string_view::npos) {
    pieces.push_back(argument.substr(at + scheme.size()));
  }
  if (pieces.back().find(':') == std::string_view::npos) return pieces;
  for (const auto piece : splitNonEmpty(pieces.back(), ':')) {
    if (piece.find('/') != std::string_view::npos) pieces.push_back(piece);
  }
  return pieces;
}

}  // namespace

std::vector<std::string> firstArguments(std::int64_t process, std::size_t most) {
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

std::vector<std::string_view> possiblePaths(std::string_view argument) {
  auto paths = piecesOf(argument);
  std::erase_if(paths, [](std::string_view piece) {
    const bool hasFolder = piece.find('/') != std::string_view::npos;
    return piece.empty() || (!hasFolder && piece.starts_with('-')) || isOfEachProcess(piece);
  });
  return paths;
}

}  // namespace tidra
