// Keys and sizes for the screens, over a scan and a removal of a made-up home. Without a yes nothing of it may go.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "app/terminal/ui_controller.h"
#include "core/platform/mount_table.h"

namespace {

namespace fs = std::filesystem;

/// A home folder that the process removes at its end.
struct FuzzedHome {
  FuzzedHome() {
    std::string name = (fs::temp_directory_path() / "tidra-keys-XXXXXX").string();
    path = ::mkdtemp(name.data());
    for (const char* project : {"a", "b", "c"}) {
      const fs::path folder = path / "code" / project / "node_modules";
      fs::create_directories(folder);
      std::ofstream(folder / "f") << "x";
    }
  }
  ~FuzzedHome() { fs::remove_all(path); }
  FuzzedHome(const FuzzedHome&) = delete;
  FuzzedHome& operator=(const FuzzedHome&) = delete;

  std::size_t files() const {
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(path / "code")) count += entry.is_regular_file() ? 1 : 0;
    return count;
  }

  fs::path path;
};

tidra::UiEnvironment environmentOf(const fs::path& home) {
  tidra::UiEnvironment environment;
  environment.resolver = {home.string(), {}};
  environment.clock = [] { return tidra::TimePoint{std::chrono::seconds{1750000000}}; };
  environment.isStored = false;
  environment.newRequest = [home](bool) {
    tidra::ScanRequest request;
    request.roots = {(home / "code").string()};
    request.catalog = tidra::RuleCatalog::load(
        R"({"catalogVersion": "f", "projectRules": [{"id": "n", "folderName": "node_modules", "ecosystem": "npm"}], "systemRules": []})");
    request.resolver = {home.string(), {}};
    request.mounts = tidra::mountPoints();
    request.scanSystem = false;
    request.now = tidra::TimePoint{std::chrono::seconds{1750000000}};
    return request;
  };
  return environment;
}

/// A yes becomes another key; so does what starts another program.
tidra::Key keyOf(std::uint8_t kind, std::uint8_t character) {
  tidra::Key key;
  key.kind = kind < 128 ? tidra::Key::Kind::character
                        : static_cast<tidra::Key::Kind>(kind % (static_cast<int>(tidra::Key::Kind::unknown) + 1));
  key.character = character % 128 < ' ' ? U' ' : static_cast<char32_t>(character % 128);
  for (const char32_t unwanted : {U'y', U'Y', U'o'}) {
    if (key.character == unwanted) key.character = U'j';
  }
  key.at = {character % 40U, character};
  key.isPasted = kind % 16 == 1;
  return key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzedHome home;
  const std::size_t before = home.files();
  {
    const tidra::UiHost host{.wake = [] {}, .suspend = [] {}, .redraw = [] {}, .copy = [](const std::string&) {}};
    tidra::UiController controller(environmentOf(home.path), host);
    controller.start();
    for (std::size_t i = 0; i + 1 < size; i += 2) {
      if (data[i] == 255) {
        while (controller.isBusy()) {
          controller.takeNews();
          std::this_thread::yield();
        }
      }
      controller.handle(keyOf(data[i], data[i + 1]));
      tidra::Frame frame({data[i + 1] % 160U, data[i] % 50U});
      controller.draw(frame, data[i] % 2 == 0 ? tidra::ScreenGlyphs{} : tidra::ScreenGlyphs::ascii());
    }
  }
  if (home.files() != before) __builtin_trap();
  return 0;
}
