// The floor that a scan is measured against: a bare program that reads every folder below its arguments with a fixed
// number of threads and asks the size of every regular file. It decides nothing, stores nothing and ignores errors.
//
//   tidra_bench_floor THREADS sizes|names FOLDER…
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Folder {
  explicit Folder(int opened) : descriptor(opened) {}
  ~Folder() { ::close(descriptor); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  int descriptor;
};

struct Task {
  std::shared_ptr<Folder> parent;
  std::string name;
};

struct RawEntry {
  std::uint64_t inode;
  std::int64_t offset;
  unsigned short length;
  unsigned char type;
  char name[1];
};

class Floor {
 public:
  Floor(unsigned threads, bool sizes) : threads_(threads), sizes_(sizes) {}

  void run(char** folders, int count) {
    for (int i = 0; i < count; ++i) tasks_.push_back({nullptr, folders[i]});
    outstanding_ = count;
    std::vector<std::jthread> pool;
    for (unsigned i = 0; i < threads_; ++i) pool.emplace_back([this] { work(); });
    pool.clear();
    std::printf("%llu entries, %llu bytes\n", static_cast<unsigned long long>(entries_.load()),
                static_cast<unsigned long long>(bytes_.load()));
  }

 private:
  void work() {
    std::vector<char> buffer(64 * 1024);
    std::vector<Task> found;
    for (Task task; take(task);) {
      read(task, buffer, found);
      task = Task{};
      enqueue(found);
    }
  }

  bool take(Task& task) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !tasks_.empty() || outstanding_ == 0; });
    if (tasks_.empty()) return false;
    task = std::move(tasks_.back());
    tasks_.pop_back();
    return true;
  }

  void enqueue(std::vector<Task>& found) {
    const std::lock_guard lock(mutex_);
    outstanding_ += static_cast<long>(found.size()) - 1;
    for (Task& task : found) tasks_.push_back(std::move(task));
    if (found.size() > 1 || outstanding_ == 0) changed_.notify_all();
    found.clear();
  }

  void read(const Task& task, std::vector<char>& buffer, std::vector<Task>& found) {
    const int parent = task.parent ? task.parent->descriptor : AT_FDCWD;
    const int descriptor = ::openat(parent, task.name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0) return;
    const auto folder = std::make_shared<Folder>(descriptor);
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;
    for (;;) {
      const long filled = ::syscall(SYS_getdents64, descriptor, buffer.data(), buffer.size());
      if (filled <= 0) break;
      for (long position = 0; position < filled;) {
        const auto* entry = reinterpret_cast<const RawEntry*>(buffer.data() + position);
        const char* name = reinterpret_cast<const char*>(entry) + offsetof(RawEntry, name);
        position += entry->length;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        ++entries;
        if (entry->type == DT_DIR) {
          found.push_back({folder, name});
        } else if (entry->type == DT_REG && sizes_) {
          struct statx status;
          if (::statx(descriptor, name, AT_SYMLINK_NOFOLLOW, STATX_SIZE, &status) == 0) bytes += status.stx_size;
        }
      }
    }
    entries_ += entries;
    bytes_ += bytes;
  }

  unsigned threads_;
  bool sizes_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Task> tasks_;
  long outstanding_ = 0;
  std::atomic<std::uint64_t> entries_{0};
  std::atomic<std::uint64_t> bytes_{0};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s THREADS sizes|names FOLDER...\n", argv[0]);
    return 2;
  }
  Floor(static_cast<unsigned>(std::atoi(argv[1])), std::strcmp(argv[2], "sizes") == 0).run(argv + 3, argc - 3);
  return 0;
}
