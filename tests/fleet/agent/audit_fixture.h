// Audit logs for tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fleet/agent/audit_log.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

class AuditTest : public testing::Test {
 protected:
  /// Fills a record depending on `number`: cycles through the events and through combinations of fields.
  static AuditLog::Builder sample(std::int64_t number);

  /// Appends that many samples to the log at url().
  void appendSamples(int count) const;

  std::string url() const { return tree_.path("log/audit.jsonl"); }
  std::string bytes() const;
  void replaceBytes(const std::string& bytes) const { tree_.writeFile("log/audit.jsonl", bytes); }
  /// With line feeds.
  std::vector<std::string> lines() const;

  const TemporaryTree tree_;
};

}  // namespace tidra
