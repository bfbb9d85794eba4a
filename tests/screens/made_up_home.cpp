#include "tests/screens/made_up_home.h"

#include <fcntl.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "core/platform/file_descriptor.h"
#include "core/platform/process_runner.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

constexpr double bytesPerMegabyte = 1 << 20;

struct SizedFile {
  const char* path;
  double megabytes;
};

}  // namespace

struct MadeUpHome::Project {
  const char* path;
  int idleDays;
  std::vector<const char*> files;
  std::vector<SizedFile> artefacts;
  const char* commit = "";  // subject of its only commit; empty: no repository
  bool isChanged = false;   // since the commit
};

MadeUpHome::MadeUpHome() {
  for (const Project& project : std::vector<Project>{
           {"code/shop/checkout-web",
            745,
            {"package.json", "package-lock.json", "node_modules/.package-lock.json", "vite.config.js"},
            {{"dist/assets/app.js", 148}},
            "Show the delivery date before the address"},
           {"code/engine",
            1140,
            {"Cargo.toml", "Cargo.lock", "target/CACHEDIR.TAG", "src/main.rs", "src/grid.rs"},
            {{"target/release/deps/libengine.rlib", 1320},
             {"target/debug/deps/engine", 340},
             {"coverage/profile.profraw", 210}},
            "Move the solver off the main thread",
            true},
           {"code/ml-notebooks",
            290,
            {"requirements.txt", ".venv/pyvenv.cfg", ".venv/bin/python", "train.ipynb"},
            {{".venv/lib/tensors.so", 980}, {"chroma_db/index.bin", 388}},
            "Try smaller batches"},
           {"code/platform/api-gateway",
            107,
            {"pom.xml", "target/classes/Gateway.class", "src/Gateway.java"},
            {{"target/gateway.jar", 760}, {".crush/sessions.db", 180}},
            "Retry once when a backend restarts"},
           {"code/docs-site",
            40,
            {"package.json", "package-lock.json", "node_modules/.package-lock.json", "index.md"},
            {{"node_modules/.cache/pages", 610}},
            "Explain how to upgrade"},
           {"code/archive/weather-app",
            1500,
            {"package.json", "package-lock.json", "node_modules/.package-lock.json", "app.js"},
            {{"node_modules/.cache/icons", 512}},
            "Round the temperature"},
           {"code/mobile/field-notes",
            230,
            {"build.gradle", "settings.gradle", "build/outputs/lint.txt", "src/Main.kt"},
            {{"build/outputs/app.apk", 340}, {".gradle/caches.bin", 96}},
            "Keep photos beside their note"},
           {"code/data/import-jobs",
            75,
            {"requirements.txt", ".venv/pyvenv.cfg", ".venv/bin/python", "jobs.py", ".mypy_cache/CACHEDIR.TAG"},
            {{".venv/lib/parser.so", 260}, {".mypy_cache/cache.db", 38}},
            "Skip empty files"},
           {"code/tools/release-bot",
            3,
            {"Cargo.toml", "Cargo.lock", "target/CACHEDIR.TAG", "src/main.rs"},
            {{"target/debug/deps/bot", 84}},
            "Name the branch in the message"},
           {"code/platform/infra",
            0,
            {"main.tf", ".terraform/providers/lock.json", ".terraform/.tidra-keep"},
            {{".terraform/providers/cloud", 350}},
            "Open the new region"}})
    add(project);
  addModules();
}

void MadeUpHome::add(const Project& project) const {
  const std::string folder = project.path;
  for (const char* file : project.files) tree_.writeFile(folder + "/" + file, "{}\n");
  for (const SizedFile& file : project.artefacts) allocate(folder + "/" + file.path, file.megabytes);
  tree_.writeFile(
      folder + "/.gitignore",
      "node_modules\ndist\nbuild\ntarget\ncoverage\n.gradle\n.venv\n.mypy_cache\nchroma_db\n.crush\n.terraform\n");
  date(folder, project.idleDays);
  const std::string when = "@" + std::to_string(::time(nullptr) - project.idleDays * 86400L) + " +0000";
  const auto git = [&](std::vector<std::string> arguments) {
    const auto ran = ProcessRunner::run({.executablePath = "/usr/bin/git",
                                         .arguments = std::move(arguments),
                                         .currentDirectory = tree_.path(folder),
                                         .environment = Environment{{"HOME", path()},
                                                                    {"GIT_CONFIG_NOSYSTEM", "1"},
                                                                    {"GIT_AUTHOR_DATE", when},
                                                                    {"GIT_COMMITTER_DATE", when},
                                                                    {"GIT_AUTHOR_NAME", "Jo"},
                                                                    {"GIT_AUTHOR_EMAIL", "jo@example.com"},
                                                                    {"GIT_COMMITTER_NAME", "Jo"},
                                                                    {"GIT_COMMITTER_EMAIL", "jo@example.com"}},
                                         .timeoutSeconds = 60});
    if (!ran || ran->status != 0) throw std::runtime_error("git did not work in " + folder);
  };
  git({"init", "--quiet", "--initial-branch=main"});
  git({"add", "--all"});
  git({"commit", "--quiet", "-m", project.commit});
  if (project.isChanged) {
    tree_.writeFile(folder + "/" + project.files.front(), "changed\n");
    tree_.writeFile(folder + "/notes.md", "to do\n");
  }
  date(folder, project.idleDays);
}

void MadeUpHome::addModules() const {
  // In one folder, so that one thread removes them and as many are gone each time.
  constexpr double megabytes = 0.352;
  for (int i = 0; i < modules; ++i)
    allocate("code/shop/checkout-web/node_modules/icons/module" + std::to_string(i) + ".js", megabytes);
  date("code/shop/checkout-web", 745);
}

void MadeUpHome::allocate(const std::string& file, double megabytes) const {
  const FileDescriptor descriptor(::open(tree_.writeFile(file).c_str(), O_WRONLY | O_CLOEXEC));
  if (::posix_fallocate(descriptor.get(), 0, static_cast<off_t>(megabytes * bytesPerMegabyte)) != 0)
    throw std::runtime_error("The pictures need 10 GB of free space in " + path() + ".");
}

void MadeUpHome::date(const std::string& folder, int days) const {
  const TimePoint time{std::chrono::seconds{::time(nullptr) - days * 86400L}};
  std::vector<std::string> entries{folder};
  for (const auto& entry : fs::recursive_directory_iterator(tree_.path(folder)))
    entries.push_back(entry.path().string().substr(path().size() + 1));
  for (const std::string& entry : entries) tree_.setModified(entry, time);
}

}  // namespace tidra
