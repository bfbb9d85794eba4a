// Removals that rely on an age: the dates of large projects, and the limits that a plan keeps.
#include "core/base/json_writer.h"
#include "tests/core/session/cleanup_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

class PlanLimits : public CleanupSession {
 protected:
  static constexpr TimePoint longAgo = now - std::chrono::days{900};

  /// More files than a scan reads for the date that it shows; the folder "last" comes last, being the oldest.
  void makeLargeProject(const std::string& project) const {
    tree_.writeFile(project + "/node_modules/f", "x");
    for (const char* folder : {"a/b/one", "a/b/two", "a/b/last"}) {
      for (int i = 0; i < 300; ++i) {
        const std::string file = project + "/" + folder + "/" + std::to_string(i);
        tree_.writeFile(file);
        tree_.setModified(file, longAgo);
      }
      tree_.setModified(project + "/" + folder, longAgo);
    }
    tree_.setModified(project + "/a/b/last", longAgo - std::chrono::days{1});
  }
  void workOn(const std::string& project) const {
    tree_.setModified(project + "/a/b/last/1", now - std::chrono::days{1});
  }
  ScanRequest olderThanAYear() const {
    auto request = this->request();
    request.olderThan = request.provenAge = parseAge("1y");
    return request;
  }
};

TEST_F(PlanLimits, AnAgeThatARemovalReliesOnIsReadFromManyMoreFiles) {
  makeLargeProject("code/p");
  EXPECT_THAT(described(selectedFrom(olderThanAYear())), ElementsAre("p/node_modules: -"));
  workOn("code/p");
  EXPECT_THAT(described(selectedFrom(olderThanAYear())), IsEmpty());
  EXPECT_EQ(scanned(request()).findings.at(0).finding.lastActivityDate, longAgo) << "what is shown costs less";
  auto unattended = request();
  unattended.provenAge = parseAge("7d");
  EXPECT_EQ(scanned(unattended).findings.at(0).finding.lastActivityDate, now - std::chrono::days{1});
}

TEST_F(PlanLimits, HoldWhenThePlanIsApplied) {
  makeLargeProject("code/p");
  auto asked = olderThanAYear();
  asked.minimumBytes = 1;
  CleanupPlan made = makeCleanupPlan(selectedFrom(asked), DisposalMethod::delete_, asked);
  const CleanupPlan plan = CleanupPlan::parse(prettyJson(made), "Plan");
  EXPECT_EQ(plan, made);
  const auto checked = [&](const CleanupPlan& plan) { return described(checkPlan(plan, request(), {}).candidates); };
  EXPECT_THAT(checked(plan), ElementsAre("p/node_modules: -"));
  tree_.writeFile("code/p/node_modules/f");
  EXPECT_THAT(checked(plan), ElementsAre(HasSubstr("has become smaller than --min-size 1 of the plan")));
  workOn("code/p");
  EXPECT_THAT(checked(plan), ElementsAre(HasSubstr("was worked on since the plan was made with --older-than 12mo")));
  made.olderThan.reset();
  made.minBytes.reset();
  EXPECT_THAT(checked(made), ElementsAre("p/node_modules: -")) << "an older plan has no limits";
  made.olderThan = "soon";
  EXPECT_THAT(messageOf<InputError>([&] { static_cast<void>(CleanupPlan::parse(prettyJson(made), "Plan")); }),
              HasSubstr("Plan: olderThan: 'soon' is not an age"));
}

}  // namespace
}  // namespace tidra
