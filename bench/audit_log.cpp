// Compares the audit log with the least that its work takes, both in turn in one run:
//
//   tidra_bench_audit_log append FOLDER [RECORDS]    against a loop that hashes, opens, appends and closes
//   tidra_bench_audit_log verify FOLDER [MEGABYTES]  against SHA-256 over the same bytes, read in chunks
//
// Prints the seconds of each round and the ratio of the fastest two. Removes the files it made in FOLDER.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "core/platform/files.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/sha256.h"

namespace {

using tidra::AuditLog;
using tidra::AuditRecord;
using tidra::secondsOf;

/// A record like those of a run with many items. Building its texts is not measured.
AuditRecord exampleOf(std::size_t number) {
  AuditRecord record;
  record.time = tidra::TimePoint{std::chrono::seconds{1700000000 + number}};
  record.host = "build-7.example.org";
  record.runID = "0B6C7C1E-0A55-4B8C-9C55-7B2F9D0E5A11";
  record.event = AuditRecord::Event::disposed;
  record.actor = "systemd";
  record.policy = "agent-host";
  record.path = "/home/ada/code/project-" + std::to_string(number) + "/packages/web/node_modules";
  record.bytes = number * 4096;
  record.tier = tidra::ArtifactSafetyTier::safe;
  record.category = "project";
  record.ruleID = "node_modules";
  record.method = tidra::DisposalMethod::quarantine;
  record.destination = "/home/ada/.tidra/quarantine/20260314T101500-" + std::to_string(number) + "-node_modules";
  return record;
}

/// Cycles through 1000 prepared examples.
const AuditRecord& example(std::size_t number) {
  constexpr std::size_t count = 1000;
  static const std::vector<AuditRecord> examples = [] {
    std::vector<AuditRecord> made;
    for (std::size_t i = 0; i < count; ++i) made.push_back(exampleOf(i));
    return made;
  }();
  return examples[number % count];
}

void require(bool worked, const char* what) {
  if (worked) return;
  std::perror(what);
  std::exit(1);
}

void compare(const char* ours, const char* floor, const std::vector<std::pair<double, double>>& rounds) {
  double least = rounds[0].first;
  double leastFloor = rounds[0].second;
  for (const auto& [first, second] : rounds) {
    std::printf("%s %.3f s   %s %.3f s\n", ours, first, floor, second);
    least = std::min(least, first);
    leastFloor = std::min(leastFloor, second);
  }
  std::printf("ratio %.2f\n", least / leastFloor);
}

double appendRecords(const std::string& log, std::size_t count) {
  ::unlink(log.c_str());
  return secondsOf([&] {
    AuditLog audit(log);
    for (std::size_t i = 0; i < count; ++i) audit.append([i](AuditRecord& record) { record = example(i); });
  });
}

/// The baseline: writes the lines of `bytes` to a new file.
double appendBare(const std::string& path, const std::string& bytes) {
  ::unlink(path.c_str());
  return secondsOf([&] {
    tidra::Sha256 sha;
    std::string previous(64, '0');
    for (std::size_t begin = 0; begin < bytes.size();) {
      const std::size_t end = bytes.find('\n', begin) + 1;
      previous = sha.update(previous).update({bytes.data() + begin, end - begin}).finish();
      const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      require(file >= 0 && ::lseek(file, 0, SEEK_END) >= 0, "open");
      require(::write(file, bytes.data() + begin, end - begin) == static_cast<ssize_t>(end - begin), "write");
      ::close(file);
      begin = end;
    }
  });
}

void append(const std::string& log, std::size_t count) {
  const std::string bare = log + ".bare";
  appendRecords(log, count);
  const std::string bytes = *tidra::readFile(log);
  std::vector<std::pair<double, double>> rounds;
  constexpr int times = 6;
  for (int round = 0; round < times; ++round) {
    // Alternate the order.
    const double early = round % 2 == 0 ? appendBare(bare, bytes) : 0;
    const double ours = appendRecords(log, count);
    rounds.emplace_back(ours, round % 2 == 0 ? early : appendBare(bare, bytes));
  }
  ::unlink(bare.c_str());
  compare("append", "bare loop", rounds);
}

void verify(const std::string& log, std::size_t megabytes) {
  const std::size_t wanted = megabytes << 20U;
  AuditLog audit(log);
  for (std::size_t i = 0, written = 0; written < wanted; ++i) {
    written += tidra::encodeAuditLine(audit.append([i](AuditRecord& record) { record = example(i); })).size() + 1;
  }
  std::vector<std::pair<double, double>> rounds;
  constexpr int times = 5;
  for (int round = 0; round < times; ++round) {
    const double ours = secondsOf([&] { require(audit.verify().ok, "verify"); });
    const double floor = secondsOf([&] {
      constexpr std::size_t pieceBytes = 256 * 1024;
      std::vector<char> piece(pieceBytes);
      const int file = ::open(log.c_str(), O_RDONLY | O_CLOEXEC);
      require(file >= 0, "open");
      tidra::Sha256 sha;
      for (ssize_t got = 1; got > 0;) {
        got = ::read(file, piece.data(), piece.size());
        require(got >= 0, "read");
        sha.update({piece.data(), static_cast<std::size_t>(got)});
      }
      require(sha.finish().size() == 64, "hash");
      ::close(file);
    });
    rounds.emplace_back(ours, floor);
  }
  std::printf("%zu MB, %lld records\n", megabytes, static_cast<long long>(audit.seq()));
  compare("verify", "sha256", rounds);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::size_t usualRecords = 100000;
  constexpr std::size_t usualMegabytes = 1024;
  if (argc < 3 || argc > 4) return 2;
  const std::string what = argv[1];
  const std::string log = std::string(argv[2]) + "/tidra-bench-audit.jsonl";
  const std::size_t count = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 0;
  ::unlink(log.c_str());
  if (what == "append") append(log, count > 0 ? count : usualRecords);
  if (what == "verify") verify(log, count > 0 ? count : usualMegabytes);
  ::unlink(log.c_str());
  return what == "append" || what == "verify" ? 0 : 2;
}
