#include "tests/fleet/agent/audit_fixture.h"

#include "core/base/text.h"
#include "core/platform/files.h"

namespace tidra {

AuditLog::Builder AuditTest::sample(std::int64_t number) {
  return [number](AuditRecord& record) {
    constexpr auto events = allCases<AuditRecord::Event>();
    constexpr auto tiers = allCases<ArtifactSafetyTier>();
    constexpr auto methods = allCases<DisposalMethod>();
    const auto index = static_cast<std::size_t>(number);
    record.time = TimePoint{std::chrono::seconds{1700000000 + number}};
    record.host = "build-7";
    record.runID = "0B6C7C1E-0A55-4B8C-9C55-7B2F9D0E5A11";
    record.event = events[index % events.size()];
    record.actor = "systemd";
    if (index % 2 == 0) record.policy = "agent \"host\"\t\x01";
    if (index % 3 != 0) record.path = "/srv/bäume/project-" + std::to_string(number) + "/node_modules";
    if (index % 3 != 1) record.bytes = index * 1000003;
    if (index % 6 == 2) record.freedBytes = index * 999;
    if (index % 4 == 1) record.tier = tiers[index % tiers.size()];
    if (index % 5 == 1) record.category = "project";
    if (index % 5 == 2) record.ruleID = "node_modules";
    if (index % 4 == 2) record.method = methods[index % methods.size()];
    if (index % 7 == 3) record.destination = "/srv/quarantine/\xff\xfe/x";
    if (index % 6 == 0) record.reason = "tierNeverRemoved";
    if (index % 3 == 2) record.message = "No space left\\on device\n(28)";
    if (index % 8 == 5) record.dryRun = index % 16 == 5;
  };
}

void AuditTest::appendSamples(int count) const {
  AuditLog log(url());
  for (int i = 0; i < count; ++i) log.append(sample(log.seq() + 1));
}

std::string AuditTest::bytes() const {
  const auto read = readFile(url());
  return read ? *read : "(cannot be read)";
}

std::vector<std::string> AuditTest::lines() const {
  std::vector<std::string> lines;
  const std::string all = bytes();
  for (const auto piece : splitNonEmpty(all, '\n')) lines.push_back(std::string(piece) + "\n");
  return lines;
}

}  // namespace tidra
