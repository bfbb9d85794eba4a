// A log torn by a power loss, at every byte.
#include <fmt/format.h>
#include <sys/stat.h>

#include "core/platform/files.h"
#include "tests/fleet/agent/audit_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

class AuditRepairTest : public AuditTest {
 protected:
  std::optional<AuditLog::Repair> repair() const { return AuditLog::repair(url(), sample(9)); }
  std::string refusal() const {
    return messageOf<InputError>([&] { const AuditLog log(url()); });
  }
};

TEST_F(AuditRepairTest, EveryPlaceOfATearIsNamedAndMended) {
  appendSamples(3);
  const auto all = lines();
  const std::string whole = all[0] + all[1];
  for (std::size_t kept = 1; kept < all[2].size() - 1; ++kept) {
    const std::string torn = all[2].substr(0, kept);
    replaceBytes(whole + torn);
    ASSERT_EQ(
        refusal(),
        fmt::format(
            "The audit log {0} cannot be continued: its last line, {1} bytes from byte {2} on, "
            "is cut off: no line feed follows, and it is not valid JSON; if this is an audit log, 'tidra audit repair "
            "{0}' moves that line aside.",
            url(), kept, whole.size()));
    if (kept % 16 != 1) continue;  // repairing flushes, which is slow
    const auto done = repair();
    ASSERT_TRUE(done);
    ASSERT_EQ(*readFile(done->movedTo), torn);
    ASSERT_THAT(bytes(), StartsWith(whole)) << "complete records stay as they are";
    const auto records = AuditLog::records(url());
    ASSERT_EQ(records.size(), 3U);
    ASSERT_EQ(records.back(), done->record);
    ASSERT_EQ(records.back().event, AuditRecord::Event::error);
    ASSERT_EQ(*records.back().message, fmt::format("{} bytes from byte {} on were no record; they are kept in {}", kept,
                                                   whole.size(), done->movedTo));
    ASSERT_TRUE(AuditLog::verify(url()).ok);
    removeFile(done->movedTo);
  }
  ASSERT_TRUE(repair());
  appendSamples(1);
  EXPECT_EQ(AuditLog::verify(url()).message, "OK (4 records)");
}

TEST_F(AuditRepairTest, OnlyWhatIsNoRecordMoves) {
  EXPECT_THAT(messageOf<InputError>([&] { repair(); }), HasSubstr("does not exist"));
  appendSamples(2);
  const std::string whole = bytes();
  for (const std::string& intact : {std::string(), whole, whole.substr(0, whole.size() - 1), whole + "\n\n"}) {
    replaceBytes(intact);
    const auto before = tree_.snapshot();
    EXPECT_FALSE(AuditLog::findTornTail(url()));
    EXPECT_FALSE(repair());
    EXPECT_EQ(tree_.snapshot(), before);
  }
  for (const std::string& tail : {std::string("{}\n"), std::string("nonsense\nmore\n"), std::string(5000, '\0'),
                                  std::string(70000, 'x') + "\n", std::string(3000000, 'x')}) {
    replaceBytes(whole + tail);
    EXPECT_THAT(refusal(), AllOf(HasSubstr(" cannot be continued: its last line, "), HasSubstr("tidra audit repair")));
    const auto found = AuditLog::findTornTail(url());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->offset, whole.size());
    EXPECT_EQ(found->bytes, tail.size());
    const auto done = repair();
    ASSERT_TRUE(done);
    EXPECT_EQ(*readFile(done->movedTo), tail);
    EXPECT_THAT(bytes(), StartsWith(whole));
    EXPECT_EQ(AuditLog::verify(url()).message, "OK (3 records)");
    struct stat status {};
    ASSERT_EQ(::stat(done->movedTo.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
  }
  EXPECT_EQ(AuditLog(url()).seq(), 3);
  // A log that is torn from the start, and one damaged in the middle, which stays as evidence.
  replaceBytes("{\"actor");
  EXPECT_EQ(repair()->record.seq, 1);
  const std::string damaged = "x" + whole;
  replaceBytes(damaged);
  EXPECT_FALSE(repair());
  EXPECT_EQ(bytes(), damaged);
}

TEST_F(AuditRepairTest, AFailureLeavesTheLogAsItWas) {
  appendSamples(1);
  const std::string torn = bytes() + "{\"act";
  replaceBytes(torn);
  EXPECT_THROW(AuditLog::repair(url(), [](AuditRecord&) { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_EQ(bytes(), torn);
  // The copy of the first attempt stays; the next gets another name.
  EXPECT_THAT(repair()->movedTo, EndsWith("audit.jsonl.torn-1"));
}

}  // namespace
}  // namespace tidra
