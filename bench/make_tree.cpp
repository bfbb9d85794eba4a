// Makes trees to measure. Equal arguments make equal trees.
//
//   tidra_bench_tree KIND ENTRIES FOLDER
//
// KIND is caches (a home folder with 60 caches, and rules.json that names them), packages (projects whose node_modules
// hold nearly everything), deep (an artefact of long chains of folders), wide (an artefact of few folders with very
// many files) or sources (projects that are mostly sources, with few artefacts).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>

namespace {

class TreeMaker {
 public:
  explicit TreeMaker(std::int64_t entries) : left_(entries) {}

  bool isFull() const { return left_ <= 0; }

  void folder(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) != 0) throw std::runtime_error("cannot make " + path);
    --left_;
  }

  void file(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) throw std::runtime_error("cannot make " + path);
    // Sparse: logical sizes count, and making the tree stays quick.
    if (::ftruncate(descriptor, static_cast<off_t>(sizes_(random_))) != 0)
      throw std::runtime_error("cannot size " + path);
    // Old, so that no file ends the search for a newer date.
    constexpr timespec modified{1577836800, 0};
    const timespec times[2] = {modified, modified};
    if (::futimens(descriptor, times) != 0) throw std::runtime_error("cannot date " + path);
    ::close(descriptor);
    --left_;
  }

  void files(const std::string& folder, int count, const char* extension) {
    for (int i = 0; i < count && !isFull(); ++i) file(folder + "/module-" + std::to_string(i) + extension);
  }

  int upTo(int most) { return std::uniform_int_distribution<int>(1, most)(random_); }

 private:
  std::int64_t left_;
  std::mt19937 random_{42};
  std::uniform_int_distribution<int> sizes_{200, 20000};
};

std::string numbered(const std::string& folder, const char* name, int number) {
  return folder + "/" + name + std::to_string(number);
}

void makePackage(TreeMaker& tree, const std::string& package) {
  tree.folder(package);
  tree.files(package, 4, ".json");
  for (const char* part : {"/lib", "/dist", "/src"}) {
    tree.folder(package + part);
    tree.files(package + part, tree.upTo(24), ".js");
    for (int i = 0; i < 2; ++i) {
      const std::string inner = numbered(package + part, "part-", i);
      tree.folder(inner);
      tree.files(inner, tree.upTo(20), ".d.ts");
    }
  }
}

void makePackages(TreeMaker& tree, const std::string& root) {
  for (int p = 0; !tree.isFull(); ++p) {
    const std::string project = numbered(root, "project-", p);
    tree.folder(project);
    tree.files(project, 6, ".ts");
    tree.folder(project + "/node_modules");
    for (int k = 0; k < 120 && !tree.isFull(); ++k)
      makePackage(tree, numbered(project + "/node_modules", "package-", k));
  }
}

void makeDeep(TreeMaker& tree, const std::string& root) {
  tree.folder(root + "/node_modules");
  for (int c = 0; !tree.isFull(); ++c) {
    std::string path = numbered(root + "/node_modules", "chain-", c);
    tree.folder(path);
    for (int depth = 0; depth < 200 && !tree.isFull(); ++depth) {
      tree.files(path, 8, ".js");
      path += "/next-part";
      tree.folder(path);
    }
  }
}

void makeWide(TreeMaker& tree, const std::string& root) {
  tree.folder(root + "/target");
  for (int f = 0; !tree.isFull(); ++f) {
    const std::string folder = numbered(root + "/target", "wide-", f);
    tree.folder(folder);
    tree.files(folder, 50000, ".o");
  }
}

void makeSources(TreeMaker& tree, const std::string& root) {
  for (int p = 0; !tree.isFull(); ++p) {
    const std::string project = numbered(root, "project-", p);
    tree.folder(project);
    tree.file(project + "/Cargo.toml");
    tree.folder(project + "/target");
    tree.files(project + "/target", 20, ".o");
    for (int m = 0; m < 60 && !tree.isFull(); ++m) {
      const std::string module = numbered(project, "module-", m);
      tree.folder(module);
      tree.files(module, tree.upTo(20), ".rs");
      for (int i = 0; i < 3; ++i) {
        const std::string part = numbered(module, "part-", i);
        tree.folder(part);
        tree.files(part, tree.upTo(20), ".rs");
      }
    }
  }
}

void makeCaches(TreeMaker& tree, const std::string& root, std::int64_t entries) {
  constexpr int caches = 60;
  std::ofstream rules(root + "/rules.json");
  rules << "{\"systemRules\": [";
  tree.folder(root + "/caches");
  for (int c = 0; c < caches; ++c) {
    const std::string cache = numbered(root + "/caches", "cache-", c);
    tree.folder(cache);
    TreeMaker share(entries / caches);
    for (int k = 0; !share.isFull(); ++k) {
      const std::string folder = numbered(cache, "part-", k);
      share.folder(folder);
      share.files(folder, 30, ".tgz");
    }
    rules << (c == 0 ? "" : ",") << "\n  {\"id\": \"cache-" << c << "\", \"category\": \"bench\", \"label\": \"Cache "
          << c << "\", \"paths\": {\"linux\": [\"caches/cache-" << c << "\"], \"macos\": [\"caches/cache-" << c
          << "\"]}}";
  }
  rules << "\n]}\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc == 4 ? argv[1] : "";
  try {
    TreeMaker tree(argc == 4 ? std::atoll(argv[2]) : 0);
    const std::string root = argc == 4 ? argv[3] : "";
    if (kind == "caches") {
      makeCaches(tree, root, std::atoll(argv[2]));
    } else if (kind == "packages") {
      makePackages(tree, root);
    } else if (kind == "deep") {
      makeDeep(tree, root);
    } else if (kind == "wide") {
      makeWide(tree, root);
    } else if (kind == "sources") {
      makeSources(tree, root);
    } else {
      std::fprintf(stderr, "usage: %s caches|packages|deep|wide|sources ENTRIES FOLDER\n", argv[0]);
      return 2;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
