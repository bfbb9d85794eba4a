#include "fleet/hub/event_log.h"

#include <gtest/gtest.h>

#include <fstream>

#include "core/platform/files.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class EventLogTest : public testing::Test {
 protected:
  void add(const std::string& message) {
    log_.append({.time = TimePoint{}, .kind = HubEvent::Kind::noteUpdated, .host = {}, .message = message, .bytes = {}},
                EventLog::Durability::machine);
  }
  std::string messages(std::size_t count) const {
    std::string all;
    for (const HubEvent& event : log_.recent(count)) all += event.message + ' ';
    return all;
  }
  void addRaw(const std::string& bytes) const { std::ofstream(path_, std::ios::app) << bytes; }

  const TemporaryTree tree_;
  const std::string path_ = tree_.path("events.jsonl");
  EventLog log_{path_};
};

TEST_F(EventLogTest, ReturnsTheLastValidEvents) {
  EXPECT_EQ(messages(5), "");
  add("a");
  add("b\n\xff");
  add("c");
  EXPECT_EQ(messages(2), "b\n\uFFFD c ");
  EXPECT_EQ(messages(0), "");
  addRaw("\n\nno event\n{\"kind\":\"unheardOf\",\"message\":\"\",\"time\":\"1970-01-01T00:00:00Z\"}\n");
  add("d");
  EXPECT_EQ(messages(4), "c d ");  // lines are counted, then decoded
}

TEST_F(EventLogTest, LosesNoEventAfterALineThatWasCutShort) {
  add("a");
  addRaw(R"({"kind":"noteUpda)");
  add("b");
  add("c");
  EXPECT_EQ(messages(10), "a b c ");
  addRaw("{");
  EventLog(path_).append({.time = {}, .kind = HubEvent::Kind::hubStarted, .host = {}, .message = "d", .bytes = {}},
                         EventLog::Durability::process);
  EXPECT_EQ(messages(10), "a b c d ");
  EXPECT_EQ(readFile(path_)->find("\n\n"), std::string::npos);
}

TEST_F(EventLogTest, ReturnsTheSameForAnyBeginOfChunks) {
  const std::string padding(997, 'x');
  for (int i = 0; i < 1000; ++i) add(std::to_string(i) + padding);
  for (const std::size_t count : {1U, 236U, 237U, 238U, 700U, 1000U, 5000U}) {
    const auto events = log_.recent(count);
    ASSERT_EQ(events.size(), std::min<std::size_t>(count, 1000));
    for (std::size_t i = 0; i < events.size(); ++i)
      ASSERT_EQ(events[i].message, std::to_string(1000 - events.size() + i) + padding);
  }
}

TEST_F(EventLogTest, FollowsAFileThatTookThePlaceOfTheFormerOne) {
  add("a");
  std::ofstream(tree_.path("other")) << std::string(readFile(path_)->size(), '{');
  ASSERT_EQ(std::rename(tree_.path("other").c_str(), path_.c_str()), 0);
  add("b");
  EXPECT_EQ(messages(1), "b ");
}

}  // namespace
}  // namespace tidra
