#include "fleet/agent/audit_log.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <thread>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "fleet/agent/audit_checkpoint.h"
#include "fleet/agent/sha256.h"
#include "tests/fleet/agent/audit_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

TEST_F(AuditTest, TheBytesAreThoseOfTheFormat) {
  // Computed with sha256sum from 64 zeros and the line without its hash.
  AuditLog log(url());
  const AuditRecord written = log.append([](AuditRecord& record) {
    record.time = *fromIso8601("2026-03-14T10:15:00Z");
    record.host = "build-7";
    record.runID = "R";
    record.event = AuditRecord::Event::disposed;
    record.actor = "cron";
    record.path = "/srv/a/target";
    record.bytes = 18446744073709551615U;
    record.dryRun = false;
    record.seq = 99;
    record.hash = "x";
  });
  const std::string before = R"({"actor":"cron","bytes":18446744073709551615,"dryRun":false,"event":"disposed",)";
  const std::string after = R"("host":"build-7","path":"/srv/a/target","prevHash":")" + std::string(64, '0') +
                            R"(","runID":"R","seq":1,"time":"2026-03-14T10:15:00Z"})";
  EXPECT_EQ(*written.hash, Sha256().update(std::string(64, '0') + before + after).finish());
  EXPECT_EQ(bytes(), before + R"("hash":")" + *written.hash + "\"," + after + "\n");
  EXPECT_EQ(Sha256().update("abc").finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(AuditTest, EveryRecordReadsBackAndIsTheGeneralEncodersText) {
  std::vector<AuditRecord> written;
  AuditLog log(url());
  for (int i = 1; i <= 120; ++i) written.push_back(log.append(sample(i)));
  for (int c = 1; c < 256; ++c) {
    written.push_back(log.append([c](AuditRecord& record) {
      record.path = std::string("/a") + static_cast<char>(c) + "\xe2\x82";
      record.message = std::string(c % 19, 'm') + static_cast<char>(c) + std::string(c % 5, ' ');
      record.reason = std::string(1, '\0');
    }));
  }
  EXPECT_EQ(AuditLog::records(url()), written);
  for (const std::string& line : lines()) EXPECT_EQ(jsonText(parseJson(line, "it"), false) + "\n", line);
  EXPECT_EQ(log.verify().message, "OK (375 records)");
}

TEST_F(AuditTest, AReopenedLogGoesOn) {
  EXPECT_EQ(AuditLog(url()).seq(), 0);
  EXPECT_FALSE(readFile(url())) << "opening makes no file";
  appendSamples(2);
  appendSamples(3);
  const AuditLog log(url());
  EXPECT_EQ(log.seq(), 5);
  EXPECT_EQ(log.lastHash(), AuditLog::records(url()).back().hash);
  EXPECT_EQ(log.verify(), (AuditLog::VerifyResult{5, true, {}, "OK (5 records)"}));
  // An editor or a power loss may have removed just the last line feed.
  std::string all = bytes();
  all.pop_back();
  replaceBytes(all);
  appendSamples(1);
  EXPECT_EQ(AuditLog::verify(url()).message, "OK (6 records)");
  // Empty lines are ignored.
  replaceBytes(bytes() + "\n\n");
  appendSamples(1);
  EXPECT_EQ(AuditLog::verify(url()).message, "OK (7 records)");
}

TEST_F(AuditTest, ANewFileIsTheOwnersUnderAnyMask) {
  for (const mode_t mask : {0U, 0777U}) {
    const mode_t former = ::umask(mask);
    tree_.writeFile("x");
    removeFile(url());
    ::umask(022);
    const AuditLog made(url());
    ::umask(mask);
    AuditLog(url()).append(sample(1));
    ::umask(former);
    struct stat status {};
    ASSERT_EQ(::stat(url().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
  }
}

TEST_F(AuditTest, AFileThatCannotBeTheLogIsRefusedInOneSentence) {
  const auto refusal = [&] { return messageOf<InputError>([&] { const AuditLog log(url()); }); };
  const std::string log = "The audit log " + url();
  tree_.makeFolder("log/audit.jsonl");
  EXPECT_EQ(refusal(), log + " is a folder; name a file.");
  EXPECT_EQ(AuditLog::verify(url()).message, "Cannot read log: " + log + " is a folder; name a file.");
  ::rmdir(url().c_str());

  const std::string target = tree_.writeFile("target");
  tree_.symlink("log/audit.jsonl", target);
  EXPECT_EQ(refusal(), log + " is a link; name the file itself.");
  removeFile(url());

  ASSERT_EQ(::mkfifo(url().c_str(), 0600), 0);
  EXPECT_EQ(refusal(), log + " is not a regular file; name one.");
  EXPECT_THAT(AuditLog::verify(url()).message, HasSubstr("is not a regular file"));
  removeFile(url());

  appendSamples(1);
  for (const unsigned mode : {0620U, 0602U}) {
    tree_.setMode("log/audit.jsonl", mode);
    EXPECT_EQ(refusal(), "Other users may change the audit log " + url() + "; 'chmod go-w " + url() + "' ends that.");
  }
  EXPECT_TRUE(AuditLog::verify(url()).ok) << "reading it harms nothing";
  tree_.setMode("log/audit.jsonl", 0644);
  EXPECT_EQ(AuditLog(url()).seq(), 1);
  if (::geteuid() != 0) return;
  {
    const WithoutPrivileges nobody(tree_);
    EXPECT_EQ(refusal(), log + " cannot be written: Permission denied; allow this user to, or name another file.");
    EXPECT_THAT(
        messageOf<InputError>([&] { const AuditLog other(tree_.path("log/new/audit.jsonl")); }),
        AllOf(StartsWith("The folder "), HasSubstr("/log/new for the audit log cannot be made: Permission denied")));
  }
  ASSERT_EQ(::chown(url().c_str(), 65534, 65534), 0);
  EXPECT_THAT(refusal(), HasSubstr(" belongs to another user; 'chown 0 "));
}

TEST_F(AuditTest, AnAppendThatFailsLeavesNoTrace) {
  AuditLog log(url());
  log.append(sample(1));
  const std::string before = bytes();
  EXPECT_THROW(log.append([](AuditRecord&) { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_THROW(log.append([](AuditRecord& record) { record.path = std::string(AuditLog::mostLineBytes, 'a'); }),
               std::length_error);
  // The limit admits half of the line.
  struct rlimit former {};
  ::getrlimit(RLIMIT_FSIZE, &former);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const struct rlimit tight { before.size() + 100, former.rlim_max };
  ::setrlimit(RLIMIT_FSIZE, &tight);
  const std::string message = messageOf<std::system_error>([&] { log.append(sample(2)); });
  ::setrlimit(RLIMIT_FSIZE, &former);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(message, StartsWith("The audit log " + url() + " cannot be written: "));
  EXPECT_EQ(bytes(), before);
  EXPECT_EQ(log.seq(), 1);
  EXPECT_EQ(log.append(sample(2)).seq, 2);
  EXPECT_TRUE(log.verify().ok);
}

TEST_F(AuditTest, AFullVolumeBreaksNoChain) {
  const TemporaryMount small(tree_.makeFolder("small"), "size=64k,mode=700");
  if (!small) GTEST_SKIP() << "mounting is not permitted";
  AuditLog log(small.path() + "/audit.jsonl");
  const auto fill = [&] {
    for (int i = 1; i < 1000; ++i) log.append(sample(i));
  };
  EXPECT_THAT(messageOf<std::system_error>(fill), HasSubstr("No space left on device"));
  EXPECT_THAT(log.verify().message, "OK (" + std::to_string(log.seq()) + " records)");
  EXPECT_EQ(AuditLog(log.url()).seq(), log.seq());
}

TEST_F(AuditTest, ALongMessageIsCutSoThatTheLogCanBeReopened) {
  AuditLog log(url());
  for (const std::size_t shift : {0U, 1U, 2U}) {
    std::string message(shift, 'a');
    while (message.size() < 70000) message += "€";
    const AuditRecord written = log.append([&](AuditRecord& record) { record.message = message; });
    EXPECT_TRUE(isValidUtf8(*written.message) && written.message->ends_with("€…"));
  }
  EXPECT_EQ(AuditLog(url()).seq(), 3);
  EXPECT_TRUE(log.verify().ok);
}

TEST_F(AuditTest, ARunThatOpenedTheLogBeforeAnotherEndedGoesOnBehindIt) {
  appendSamples(1);
  AuditLog waiting(url());
  appendSamples(3);
  EXPECT_EQ(waiting.append(sample(5)).seq, 5);
  EXPECT_EQ(waiting.verify().message, "OK (5 records)");
}

TEST_F(AuditTest, ALogThatIsCutOrTakenAwayWhileARunGoesOnShowsIt) {
  AuditLog log(url());
  for (int i = 1; i <= 3; ++i) log.append(sample(i));
  const std::string first = lines().front();
  replaceBytes(first);
  log.append(sample(4));
  EXPECT_EQ(log.verify().message, "Sequence gap: expected 2, found 4");
  removeFile(url());
  log.append(sample(5));
  EXPECT_EQ(log.verify().message, "Sequence gap: expected 1, found 5");
  replaceBytes(first.substr(0, 20));
  log.append(sample(6));
  EXPECT_THAT(log.verify().message, StartsWith("Cannot read log: line 1 (byte 0) is not valid JSON"));
  EXPECT_EQ(lines().size(), 2U) << "the torn line stays apart from the new one";
  ASSERT_EQ(::rename(tree_.path("log").c_str(), tree_.path("moved").c_str()), 0);
  EXPECT_THROW(log.append(sample(7)), InputError) << "a deleted log gets no record";
  tree_.makeFolder("log");
  log.append(sample(7));
  EXPECT_EQ(log.verify().message, "Sequence gap: expected 1, found 7");
}

TEST_F(AuditTest, AFileThatOthersCouldPutInTheLogsPlaceGetsNoRecord) {
  appendSamples(1);
  tree_.setMode("log", 0777);
  AuditLog log(url());
  log.append(sample(2));
  const std::string before = bytes();
  removeFile(url());
  replaceBytes(before);
  tree_.setMode("log/audit.jsonl", 0666);
  EXPECT_THAT(messageOf<InputError>([&] { log.append(sample(3)); }),
              StartsWith("Other users may change the audit log"));
  EXPECT_EQ(bytes(), before);
}

TEST_F(AuditTest, ThreadsAppendOneChain) {
  AuditLog log(url());
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&log] {
      for (int i = 0; i < 50; ++i) log.append(sample(i));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(log.verify().message, "OK (200 records)");
}

class AuditTotalsTest : public AuditTest {
 protected:
  void append(AuditRecord::Event event, std::uint64_t bytes, std::optional<bool> dryRun = {}) const {
    AuditLog(url()).append([&](AuditRecord& record) {
      record.event = event;
      record.bytes = bytes;
      record.dryRun = dryRun;
    });
  }
  AuditTotals totals() const { return AuditLog(url()).totals(); }
  std::string checkpoint() const { return AuditCheckpoint::pathFor(url()); }
};

TEST_F(AuditTotalsTest, CountWhatWasDoneAndNotWhatWouldHaveBeen) {
  EXPECT_EQ(totals(), AuditTotals{});
  using enum AuditRecord::Event;
  for (const auto& dryRun : {std::optional<bool>(), std::optional(false), std::optional(true)}) {
    for (const auto event : allCases<AuditRecord::Event>()) append(event, 1000, dryRun);
  }
  const AuditTotals expected{.disposedBytes = 2000,
                             .disposedItems = 2,
                             .failures = 2,
                             .purgedBytes = 2000,
                             .runs = 3,
                             .freedBytes = 2000};  // what was purged
  EXPECT_EQ(totals(), expected);
  EXPECT_EQ(totals(), expected) << "from the checkpoint";
  append(disposed, ~std::uint64_t{0});
  EXPECT_EQ(totals().disposedBytes, ~std::uint64_t{0}) << "counters do not wrap around";
}

TEST_F(AuditTotalsTest, CountWhatIsFreedOverRecordsOfEarlierVersions) {
  using enum AuditRecord::Event;
  const auto add = [&](AuditRecord::Event event, DisposalMethod method, std::optional<std::uint64_t> freed) {
    AuditLog(url()).append([&](AuditRecord& record) {
      record.event = event;
      record.bytes = 1000;
      record.method = method;
      record.freedBytes = freed;
    });
  };
  add(disposed, DisposalMethod::delete_, {});
  add(disposed, DisposalMethod::quarantine, {});
  const auto before = totals();
  EXPECT_EQ(before.freedBytes, 1000U);
  // The checkpoint of an earlier version shows what the log held, but lacks the sum.
  AuditCheckpoint old = AuditCheckpoint::read(checkpoint()).value();
  old.version = 1;
  old.totals.freedBytes = 0;
  old.write(checkpoint());
  EXPECT_EQ(AuditCheckpoint::read(checkpoint()), old);
  EXPECT_EQ(AuditLog(url()).recordsMissing(), std::nullopt);
  add(disposed, DisposalMethod::delete_, 7);
  add(purged, DisposalMethod::delete_, 20);
  add(runFinished, DisposalMethod::delete_, 27);
  EXPECT_EQ(totals().freedBytes, 1027U);
  EXPECT_EQ(AuditLog::verify(url()).message, "OK (5 records)");
}

TEST_F(AuditTotalsTest, AreKeptInACheckpointThatTheLogMustBearOut) {
  using enum AuditRecord::Event;
  for (int i = 0; i < 40; ++i) append(disposed, 10);
  totals();
  const std::string log = bytes();
  const std::string kept = *readFile(checkpoint());
  const auto parsed = AuditCheckpoint::read(checkpoint());
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->offset, log.size());
  EXPECT_EQ(parsed->seq, 40);

  // Lines before the checkpoint are not read again, so damage there goes unnoticed.
  std::string damaged = log;
  damaged[0] = 'x';
  replaceBytes(damaged);
  append(disposed, 5);
  EXPECT_EQ(totals().disposedBytes, 405U);
  // Without a checkpoint the damage is found.
  removeFile(checkpoint());
  EXPECT_EQ(messageOf<InputError>([&] { totals(); }),
            "The audit log " + url() + " is damaged: what begins at byte 0 is not valid JSON; 'tidra audit verify " +
                url() + "' shows details, and moving the file away starts a new log.");
  EXPECT_FALSE(readFile(checkpoint())) << "nothing is kept of a log that cannot be read";

  // Any damaged checkpoint is ignored and rebuilt: every flipped byte, every truncation.
  replaceBytes(log);
  for (std::size_t i = 0; i + 1 < kept.size(); ++i) {
    std::string wrong = kept;
    wrong[i] = static_cast<char>(wrong[i] ^ 1);
    for (const std::string& text : {wrong, kept.substr(0, i)}) {
      tree_.writeFile("log/audit.jsonl.checkpoint", text);
      ASSERT_FALSE(AuditCheckpoint::read(checkpoint())) << text;
    }
  }
  EXPECT_EQ(totals().disposedBytes, 400U);
  EXPECT_EQ(*readFile(checkpoint()), kept);

  // A checkpoint of another log, or of this one before it was truncated or rewritten.
  replaceBytes(lines()[0]);
  EXPECT_EQ(totals().disposedBytes, 10U);
  append(purged, 7);
  tree_.writeFile("log/audit.jsonl.checkpoint", kept);
  EXPECT_EQ(totals(),
            (AuditTotals{
                .disposedBytes = 10, .disposedItems = 1, .failures = 0, .purgedBytes = 7, .runs = 0, .freedBytes = 7}));
}

TEST_F(AuditTotalsTest, AreRightWhereNoCheckpointCanBeKept) {
  using enum AuditRecord::Event;
  append(disposed, 10);
  const std::string other = tree_.writeFile("other", "theirs");
  tree_.symlink("log/audit.jsonl.checkpoint", other);
  tree_.setMode("log", 0777);
  EXPECT_EQ(totals().disposedBytes, 10U);
  EXPECT_EQ(*readFile(other), "theirs") << "a link that others may have put there is not followed";
  removeFile(checkpoint());
  // A fitting one: anybody who can read the log can forge it.
  tree_.setMode("log", 0755);
  AuditLog log(url());
  AuditCheckpoint{.offset = bytes().size(), .seq = 1, .hash = log.lastHash(), .totals = {.disposedBytes = 99}}.write(
      checkpoint());
  EXPECT_EQ(totals().disposedBytes, 99U) << "otherwise the test proves nothing";
  tree_.setMode("log", 0777);
  EXPECT_EQ(totals().disposedBytes, 10U) << "a checkpoint that others may have put there is not believed";
  removeFile(checkpoint());
  tree_.makeFolder("log/audit.jsonl.checkpoint");
  tree_.setMode("log", 0755);
  EXPECT_EQ(totals().disposedBytes, 10U);
  // A record without line feed counts, but the checkpoint ends before it.
  ::rmdir(checkpoint().c_str());
  append(disposed, 3);
  const std::size_t firstLine = lines()[0].size();
  std::string all = bytes();
  all.pop_back();
  replaceBytes(all);
  EXPECT_EQ(totals().disposedBytes, 13U);
  EXPECT_EQ(AuditCheckpoint::read(checkpoint())->offset, firstLine);
  EXPECT_EQ(totals().disposedBytes, 13U);
}

}  // namespace
}  // namespace tidra
