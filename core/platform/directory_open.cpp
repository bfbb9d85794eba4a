// Opens folders by descriptor and name; portable.
#include <fcntl.h>

#include <array>
#include <climits>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/// Cuts a prefix shorter than PATH_MAX off `path` at a "/" and returns it.
std::string takePiece(std::string_view& path) {
  constexpr std::size_t longest = 1000;
  std::size_t end = path.size();
  if (path.size() > longest) {
    const auto slash = path.rfind('/', longest);
    if (slash != std::string_view::npos && slash > 0) end = slash;
  }
  std::string piece(path.substr(0, end));
  path.remove_prefix(end);
  while (path.starts_with('/')) path.remove_prefix(1);
  return piece;
}

}  // namespace

Outcome<FileDescriptor> openDirectory(std::string_view path) {
  FileDescriptor current;
  do {
    const std::string piece = takePiece(path);
    const int parent = current ? current.get() : AT_FDCWD;
    FileDescriptor next(::openat(parent, piece.c_str(), openFlags));
    if (!next) return lastSystemError();
    current = std::move(next);
  } while (!path.empty());
  return current;
}

Outcome<FileDescriptor> openSubdirectory(int parent, const char* name) {
  FileDescriptor opened(::openat(parent, name, openFlags | O_NOFOLLOW));
  if (!opened) return lastSystemError();
  return opened;
}

namespace {

/// Calls `ask` on a path; paths beyond PATH_MAX are resolved through the parent's descriptor.
Outcome<EntryFacts> factsOfPath(std::string_view path, Outcome<EntryFacts> (*ask)(int, const char*)) {
  if (path.size() < PATH_MAX) return ask(AT_FDCWD, std::string(path).c_str());
  const auto parent = openDirectory(parentPath(path));
  if (!parent) return parent.failure();
  return ask(parent->get(), std::string(lastPathComponent(path)).c_str());
}

}  // namespace

bool isNoLongerThere(std::error_code failure) {
  return failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory ||
         failure == std::errc::too_many_symbolic_link_levels;
}

bool isForbidden(std::error_code failure) {
  return failure == std::errc::permission_denied || failure == std::errc::operation_not_permitted;
}

Outcome<EntryFacts> pathFacts(std::string_view path) { return factsOfPath(path, &entryFacts); }

Outcome<EntryFacts> followedFacts(std::string_view path) { return factsOfPath(path, &followedEntryFacts); }

}  // namespace tidra
