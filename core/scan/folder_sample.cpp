#include "core/scan/folder_sample.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_contents.h"

namespace tidra {
namespace {

/// Suffixes of hand-written source that no build puts into its output; each is followed by a blank.
constexpr std::string_view sourceSuffixes =
    ".ts .tsx .jsx .go .c .cc .cpp .cxx .h .hpp .m .mm .py .pyx .rb .rs .java .kt .scala .swift .cs .php .pl .pm .sh "
    ".vim .el .lua .ml .hs .erl .ex .exs .f90 .pas .sql .proto .am .in .ac .m4 .cmake .rst .po .pod .tcl .erb .y .l "
    ".g4 .md ";

constexpr std::string_view keepsakeSuffixes =
    ".doc .docx .odt .xls .xlsx .ods .ppt .pptx .odp .tex .ipynb .psd .xcf .ai .blend .pem .key .jks .keystore .p12 "
    ".pfx .kdbx .env .sqlite .sqlite3 .db .mdb .accdb .shp .gpkg ";

/// What CMake writes into every folder of a build tree.
constexpr std::array filesOfCMake{std::string_view{"CPackConfig.cmake"}, std::string_view{"CPackSourceConfig.cmake"},
                                  std::string_view{"CTestTestfile.cmake"}, std::string_view{"cmake_install.cmake"}};

bool hasSuffixOf(std::string_view name, std::string_view suffixes) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || name.find(' ', dot) != std::string_view::npos) return false;
  return suffixes.find(asciiLowered(name.substr(dot)) + ' ') != std::string_view::npos;
}

}  // namespace

bool isSource(std::string_view fileName) {
  if (std::find(filesOfCMake.begin(), filesOfCMake.end(), fileName) != filesOfCMake.end()) return false;
  return !fileName.starts_with('.') && !fileName.ends_with(".d.ts") && hasSuffixOf(fileName, sourceSuffixes);
}

bool isKeepsake(std::string_view fileName) {
  constexpr std::array keys{std::string_view{"id_rsa"}, std::string_view{"id_dsa"}, std::string_view{"id_ecdsa"},
                            std::string_view{"id_ed25519"}};
  if (std::find(keys.begin(), keys.end(), fileName) != keys.end()) return true;
  return fileName.starts_with(".env.") || hasSuffixOf(fileName, keepsakeSuffixes);
}

bool isHandMade(std::string_view fileName) { return isSource(fileName) || isKeepsake(fileName); }

FolderSample FolderSample::of(const std::string& folder) {
  constexpr std::size_t mostFiles = 96;
  constexpr std::size_t mostFolders = 24;
  constexpr std::chrono::seconds timeToFinish{2};  // between the last write and the rename or chmod of a new file
  FolderSample sample;
  std::deque<std::string> waiting{folder};
  for (std::size_t folders = 0; !waiting.empty() && folders < mostFolders && sample.files < mostFiles; ++folders) {
    const std::string current = std::move(waiting.front());
    waiting.pop_front();
    // Skips the folder itself: archives are unpacked into new folders, which are newer than the contents.
    if (const auto facts = pathFacts(current); facts && current != folder) {
      sample.newest = std::max(sample.newest, facts->modified);
    }
    const auto opened = openDirectory(current);
    if (!opened) continue;
    DirectoryReader reader;
    reader.start(opened->get());
    for (DirectoryEntry entry; sample.files < mostFiles && reader.next(entry);) {
      if (entry.type == EntryType::directory && waiting.size() < mostFolders) {
        waiting.push_back(joinedPath(current, entry.name));
      }
      if (entry.type != EntryType::regularFile) continue;
      ++sample.files;
      if (isSource(entry.name) && sample.sources++ == 0) sample.source = entry.name;
      if (sample.keepsake.empty() && isKeepsake(entry.name)) sample.keepsake = entry.name;
      const auto facts = entryFacts(opened->get(), entry.name.data());
      if (!facts) continue;
      sample.newest = std::max(sample.newest, facts->modified);
      const auto untouched = facts->changed - facts->modified;
      sample.isWrittenHere |= untouched >= TimePoint::duration::zero() && untouched < timeToFinish;
    }
  }
  return sample;
}

std::optional<TimePoint> arrivalOf(std::string folder) {
  constexpr std::size_t mostFiles = 64;
  constexpr int mostLevels = 8;
  std::optional<TimePoint> earliest;
  for (int level = 0; level < mostLevels && !earliest && folder != "/"; ++level, folder = parentPath(folder)) {
    std::size_t asked = 0;
    for (const FolderEntry& entry : listing(folder)) {
      if (entry.type != EntryType::regularFile || asked++ >= mostFiles) continue;
      const auto facts = pathFacts(joinedPath(folder, entry.name));
      if (facts && (!earliest || facts->changed < *earliest)) earliest = facts->changed;
    }
  }
  return earliest;
}

}  // namespace tidra
