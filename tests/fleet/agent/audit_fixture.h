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
  /// Fills in a record that differs with `number`: every event in turn, and all the fields in various combinations.
  static AuditLog::Builder sample(std::int64_t number);

  /// Appends that many of them to the log at url().
  void appendSamples(int count) const;

  std::string url() const { return tree_.path("log/audit.jsonl"); }
  std::string bytes() const;
  void replaceBytes(const std::string& bytes) const { tree_.writeFile("log/audit.jsonl", bytes); }
  /// With their line feeds.
  std::vector<std::string> lines() const;

  const TemporaryTree tree_;
};

}  // namespace tidra
