// Disposes of one folder as the program does, without the scan.
//
//   tidra_bench_dispose trash|quarantine|delete|measure FOLDER HOME
//
// "measure" only reads the sizes, as every method does first. HOME holds trash and quarantine.
#include <chrono>
#include <cstdio>
#include <string>

#include "core/base/enum_table.h"
#include "core/dispose/deletion_service.h"
#include "core/scan/directory_size.h"

int main(int argc, char** argv) {
  constexpr int expected = 4;
  if (argc != expected) return 2;
  const std::string what = argv[1];
  const std::string folder = argv[2];
  const std::string home = argv[3];
  if (what == "measure") return tidra::TidraDirectorySizeReader::read(folder) ? 0 : 1;
  const auto method = tidra::fromRawValue<tidra::DisposalMethod>(what);
  if (!method) return 2;
  tidra::TidraDeletionService service(
      {.resolver = {home, {}},
       .host = "bench",
       .mounts = tidra::mountPoints(),
       .protectedFolders = {},
       .clock = [] { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); },
       .shouldCancel = {}});
  const auto result = service.dispose({folder, {}}, *method, false, {.directory = home + "/.tidra/quarantine"});
  if (const auto* failure = std::get_if<tidra::TidraDeletionFailure>(&result)) {
    std::fprintf(stderr, "%s: %s\n", failure->path.c_str(), failure->message.c_str());
    return 1;
  }
  return 0;
}
