// Every change of a log is detected.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/file_descriptor.h"
#include "fleet/agent/audit_line.h"
#include "tests/fleet/agent/audit_fixture.h"
#include "tests/support/effort.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

std::string concatenated(const std::vector<std::string>& lines) { return joined(lines, ""); }

class AuditVerifyTest : public AuditTest {
 protected:
  AuditLog::VerifyResult verifyAs(const std::string& content) const {
    replaceBytes(content);
    return AuditLog::verify(url());
  }
  std::string verdict(const std::string& content) const { return verifyAs(content).message; }
};

/// The reference: whether a line decodes and encodes to the same bytes again.
bool isEncoding(std::string_view line) {
  try {
    const AuditRecord record = decodeAuditLine(line, "it");
    return record.hash && encodeAuditLine(record) == line;
  } catch (const DecodingError&) {
    return false;
  }
}

TEST_F(AuditVerifyTest, ALineReadQuicklyIsExactlyWhatTheEncoderMakes) {
  constexpr int records = effort(200, 20);
  appendSamples(records);
  std::size_t accepted = 0;
  for (std::string line : lines()) {
    line.pop_back();
    for (std::size_t at = 0; at < line.size(); ++at) {
      for (const char flip : {'\x01', '\x20', '\x7e'}) {
        line[at] = static_cast<char>(line[at] ^ flip);
        if (readCanonicalAuditLine(line)) {
          ++accepted;
          ASSERT_TRUE(isEncoding(line)) << line;
        }
        line[at] = static_cast<char>(line[at] ^ flip);
      }
    }
  }
  EXPECT_GT(accepted, 5U * records) << "most changes leave a line that only its hash betrays";
}

TEST_F(AuditVerifyTest, EverySingleByteChangeOfALogIsFound) {
  // Short records beside those with every kind of field: the whole log is read for each of its bytes.
  constexpr int records = effort(200, 24);
  AuditLog log(url());
  for (int i = 1; i <= records; ++i)
    log.append(i <= 16 ? sample(i) : [i](AuditRecord& record) { record.path = "/p/" + std::to_string(i); });
  const std::string content = bytes();
  const FileDescriptor file(::open(url().c_str(), O_WRONLY));
  for (std::size_t at = 0; at < content.size(); ++at) {
    const char changed = static_cast<char>(content[at] ^ (1U << (at % 8)));
    ASSERT_EQ(::pwrite(file.get(), &changed, 1, static_cast<off_t>(at)), 1);
    ASSERT_FALSE(AuditLog::verify(url()).ok) << "byte " << at;
    ASSERT_EQ(::pwrite(file.get(), &content[at], 1, static_cast<off_t>(at)), 1);
  }
  EXPECT_EQ(AuditLog::verify(url()).records, records);
}

TEST_F(AuditVerifyTest, EachLineThatIsGoneDoubledOrElsewhereIsFound) {
  appendSamples(60);
  const auto all = lines();
  for (std::size_t i = 0; i < all.size(); ++i) {
    auto changed = all;
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
    if (i + 1 < all.size()) {
      const auto result = verifyAs(concatenated(changed));
      EXPECT_EQ(result.message, fmt::format("Sequence gap: expected {}, found {}", i + 1, i + 2));
      EXPECT_EQ(result.firstBadSeq, static_cast<std::int64_t>(i + 2));
    }
    changed = all;
    changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(i), all[i]);
    EXPECT_EQ(verdict(concatenated(changed)), fmt::format("Sequence gap: expected {}, found {}", i + 2, i + 1));
    if (i == 0) continue;
    changed = all;
    std::swap(changed[i], changed[i - 1]);
    EXPECT_EQ(verdict(concatenated(changed)), fmt::format("Sequence gap: expected {}, found {}", i, i + 1));
  }
}

TEST_F(AuditVerifyTest, TheMessageNamesTheFault) {
  appendSamples(3);
  const auto all = lines();
  const auto withSecond = [&](std::string line) { return all[0] + std::move(line) + all[2]; };
  const auto replaced = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  const std::string& second = all[1];
  for (const auto& [line, message] : TextPairs{
           {replaced(second, "build-7", "build-8"), "Hash mismatch at seq 2"},
           {replaced(second, "\"hash\":\"", "\"hash\":\"0"), "Hash mismatch at seq 2"},
           // Equal after decoding.
           {replaced(second, "{\"", "{ \""), "Hash mismatch at seq 2"},
           {replaced(second, "}\n", "} \n"), "Hash mismatch at seq 2"},
           {replaced(second, "}\n", "}\r\n"), "Hash mismatch at seq 2"},
           {replaced(second, "\"seq\":2", "\"seq\":2,\"shade\":1"), "Hash mismatch at seq 2"},
           {replaced(second, "\"seq\":2", "\"seq\":2,\"tier\":null"), "Hash mismatch at seq 2"},
           {replaced(second, "\"seq\":2", "\"seq\":2,\"seq\":2"), "Hash mismatch at seq 2"},
           {replaced(second, "build-7", "build\\u002d7"), "Hash mismatch at seq 2"},
           {replaced(second, "/srv", "\\/srv"), "Hash mismatch at seq 2"},
           {replaced(second, "Z\"", "+00:00\""), "Hash mismatch at seq 2"},
           {replaced(second, "\"prevHash\":\"", "\"prevHash\":\"0"), "Broken chain at seq 2"},
           {replaced(second, "\"seq\":2", "\"seq\":7"), "Sequence gap: expected 2, found 7"},
           {replaced(second, "\"seq\":2", "\"seq\":-2"), "Sequence gap: expected 2, found -2"},
       }) {
    EXPECT_EQ(verdict(withSecond(line)), message) << line;
    EXPECT_EQ(verifyAs(withSecond(line)).records, 3);
  }
  // A new chain with valid hashes.
  EXPECT_EQ(verdict(all[1] + all[2]), "Sequence gap: expected 1, found 2");
  EXPECT_EQ(verifyAs(all[0] + all[2]).firstBadSeq, 3);
  // A record without hash.
  AuditRecord bare = decodeAuditLine(all[0], "it");
  bare.hash.reset();
  EXPECT_EQ(verdict(encodeAuditLine(bare) + "\n"), "Hash mismatch at seq 1");
}

TEST_F(AuditVerifyTest, LinesThatAreNoRecordsMakeTheLogUnreadable) {
  EXPECT_EQ(AuditLog::verify(url()).message, "Cannot read log: there is no file " + url());
  EXPECT_EQ(verifyAs(""), (AuditLog::VerifyResult{0, true, {}, "OK (0 records)"}));
  EXPECT_EQ(verdict("\n\n"), "OK (0 records)");
  appendSamples(3);
  const auto all = lines();
  // Outranks the broken chain before it.
  const auto result = verifyAs(all[1] + "x\n");
  EXPECT_EQ(result,
            (AuditLog::VerifyResult{
                0, false, {}, fmt::format("Cannot read log: line 2 (byte {}) is not valid JSON", all[1].size())}));
  EXPECT_THAT(verdict(all[0] + "{}\n"), HasSubstr("line 2"));
  EXPECT_THAT(verdict(all[0] + all[1].substr(0, 99)), HasSubstr(" is not valid JSON"));
  EXPECT_THAT(verdict(all[0] + std::string(700, '\0')), HasSubstr(" is not valid JSON"));
  EXPECT_THAT(verdict(all[0] + "\"\xff\"\n"), HasSubstr(" is not valid JSON"));
  EXPECT_THAT(verdict(std::string(100000, '[')), StartsWith("Cannot read log: line 1 (byte 0) is not valid JSON"));
  EXPECT_EQ(verdict(std::string(3000000, 'x') + "\n" + all[0]), "Cannot read log: line 1 (byte 0) is too long");
  std::string unknown = all[0];
  unknown.replace(unknown.find("scanCompleted"), 13, "scanForgotten");
  EXPECT_THAT(verdict(unknown), HasSubstr("unknown event 'scanForgotten'"));
}

TEST_F(AuditVerifyTest, AHoleOfTerabytesIsNotRead) {
  appendSamples(2);
  const auto all = lines();
  replaceBytes(all[0]);
  std::filesystem::resize_file(url(), std::uintmax_t{4} << 40U);
  const std::string place = fmt::format("byte {}", all[0].size());
  EXPECT_EQ(AuditLog::verify(url()).message, "Cannot read log: line 2 (" + place + ") is too long");
  std::ofstream(url(), std::ios::app) << '\n' << all[1];
  EXPECT_THAT(messageOf<InputError>([&] { static_cast<void>(AuditLog(url()).totals()); }),
              HasSubstr("what begins at " + place + " is too long"));
}

TEST_F(AuditVerifyTest, ALogLongerThanTheBuffersIsFollowedToItsEnd) {
  AuditLog log(url());
  for (int i = 0; i < 120; ++i)
    log.append([&](AuditRecord& record) { record.message = std::string(static_cast<std::size_t>(i) * 500, 'm'); });
  const std::string content = bytes();
  ASSERT_GT(content.size(), 3000000U);
  EXPECT_EQ(verdict(content), "OK (120 records)");
  EXPECT_EQ(AuditLog::records(url()).size(), 120U);
  const auto last = content.rfind("mmm");
  EXPECT_EQ(verdict(std::string(content).replace(last, 1, "n")), "Hash mismatch at seq 120");
}

}  // namespace
}  // namespace tidra
