// Everything known about what is under the cursor.
#pragma once

#include <map>
#include <string>

#include "app/terminal/canvas.h"
#include "app/terminal/ui_state.h"
#include "app/view/project_job.h"

namespace tidra {

class DetailPane {
 public:
  void draw(Canvas canvas, const UiState& state) const;

  void setProject(ProjectFacts facts) { projects_[facts.path] = std::move(facts); }
  bool knows(const std::string& project) const { return projects_.contains(project); }

 private:
  void drawItem(Canvas& canvas, const ResultRow& row, const UiState& state) const;
  void drawGroup(Canvas& canvas, const ResultsGroup& group, const UiState& state) const;
  std::size_t drawProject(Canvas& canvas, std::size_t row, const std::string& project) const;

  std::map<std::string, ProjectFacts> projects_;  // by path
};

}  // namespace tidra
