#include "tests/support/temporary_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "core/platform/files.h"
#include "core/platform/open_file.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

void check(bool succeeded, const std::string& path) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), path);
}

std::int64_t modifiedNanosOf(const struct stat& status) {
#ifdef __APPLE__
  const timespec time = status.st_mtimespec;
#else
  const timespec time = status.st_mtim;
#endif
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

SnapshotEntry entryOf(const std::string& path, std::string relative) {
  struct stat status {};
  check(::lstat(path.c_str(), &status) == 0, path);
  SnapshotEntry entry{.path = std::move(relative),
                      .mode = status.st_mode & 07777U,
                      .modifiedNanos = modifiedNanosOf(status),
                      .content = {}};
  entry.type = S_ISDIR(status.st_mode) ? 'd' : S_ISREG(status.st_mode) ? 'f' : S_ISLNK(status.st_mode) ? 'l' : 'o';
  if (entry.type != 'd') entry.sizeBytes = static_cast<std::uint64_t>(status.st_size);
  if (entry.type == 'l') entry.content = fs::read_symlink(path);
  return entry;
}

/// Moves the subfolders of each subfolder to the top before removing it, so that paths stay short at any depth.
void removeTree(const std::string& root) {
  std::uint64_t moved = 0;
  fs::permissions(root, fs::perms::owner_all);
  std::vector<fs::path> folders;
  const auto empty = [&](const fs::path& folder) {
    const std::vector<fs::directory_entry> entries(fs::directory_iterator(folder), fs::directory_iterator{});
    for (const auto& entry : entries) {
      if (entry.symlink_status().type() != fs::file_type::directory) {
        fs::remove(entry.path());
        continue;
      }
      // A folder without write permission for its owner cannot be moved.
      fs::permissions(entry.path(), fs::perms::owner_all);
      folders.push_back(fs::path(root) / (".moved-by-the-removal-" + std::to_string(moved++)));
      fs::rename(entry.path(), folders.back());
    }
  };
  empty(root);
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    empty(folder);
    fs::remove(folder);
  }
  fs::remove(root);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const SnapshotEntry& entry) {
  return out << entry.type << " \"" << entry.path << "\" size " << entry.sizeBytes << " mode " << std::oct << entry.mode
             << std::dec << " modified " << entry.modifiedNanos << " \"" << entry.content << '"';
}

std::vector<SnapshotEntry> snapshotOf(const std::string& folder) {
  std::vector<SnapshotEntry> entries{entryOf(folder, "")};
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    entries.push_back(entryOf(entry.path(), entry.path().string().substr(folder.size() + 1)));
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  return entries;
}

std::vector<SnapshotEntry> withoutFolderTimes(std::vector<SnapshotEntry> entries) {
  for (SnapshotEntry& entry : entries) {
    if (entry.type == 'd') entry.modifiedNanos = 0;
  }
  return entries;
}

TemporaryTree::TemporaryTree() {
  std::string path = fs::canonical(fs::temp_directory_path()) / "tidra-test-XXXXXX";
  check(::mkdtemp(path.data()) != nullptr, path);
  root_ = path;
}

TemporaryTree::~TemporaryTree() {
  try {
    removeTree(root_);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "A temporary folder remains: %s\n", error.what());
  }
}

std::string TemporaryTree::path(std::string_view relative) const {
  return relative.empty() ? root_ : root_ + "/" + std::string(relative);
}

std::string TemporaryTree::writeFile(std::string_view relative, std::string_view bytes) const {
  const std::string path = this->path(relative);
  fs::create_directories(fs::path(path).parent_path());
  // With O_CLOEXEC: a program that another thread starts meanwhile must not hold the file open, which is "in use".
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  check(file && !writeAll(file, bytes), path);
  return path;
}

std::string TemporaryTree::writeFile(std::string_view relative, std::string_view bytes, unsigned mode) const {
  writeFile(relative, bytes);
  setMode(relative, mode);
  return path(relative);
}

std::string TemporaryTree::writeProgram(std::string_view relative, std::string_view body) const {
  return writeFile(relative, "#!/bin/sh\n" + std::string(body) + "\n", 0755);
}

std::string TemporaryTree::read(std::string_view relative) const {
  const auto bytes = readFile(path(relative));
  return bytes ? *bytes : "";
}

std::string TemporaryTree::writeFileOfSize(std::string_view relative, std::uint64_t sizeBytes) const {
  const std::string path = writeFile(relative);
  fs::resize_file(path, sizeBytes);
  return path;
}

std::string TemporaryTree::makeFolder(std::string_view relative) const {
  const std::string path = this->path(relative);
  fs::create_directories(path);
  return path;
}

std::string TemporaryTree::symlink(std::string_view relative, const std::string& target) const {
  const std::string path = this->path(relative);
  fs::create_directories(fs::path(path).parent_path());
  fs::create_symlink(target, path);
  return path;
}

void TemporaryTree::setModified(std::string_view relative, TimePoint time) const {
  const std::string path = this->path(relative);
  const timespec stamp{static_cast<std::time_t>(time.time_since_epoch().count()), 0};
  check(::utimensat(AT_FDCWD, path.c_str(), std::array{stamp, stamp}.data(), AT_SYMLINK_NOFOLLOW) == 0, path);
}

void TemporaryTree::setMode(std::string_view relative, unsigned mode) const {
  const std::string path = this->path(relative);
  check(::chmod(path.c_str(), static_cast<mode_t>(mode)) == 0, path);
}

}  // namespace tidra
