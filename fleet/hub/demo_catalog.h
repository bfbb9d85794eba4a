// What the hosts of a demo fleet are made of: their kinds, their people and projects, and what is found on them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "core/model/scan_vocabulary.h"
#include "core/platform/platform.h"

namespace tidra {

/// In `path`, "~" is the home folder and "{}" a project.
struct DemoFinding {
  std::string_view path;
  std::string_view label;
  std::string_view category;
  ArtifactSafetyTier tier;
  std::string_view ruleID;
  double weight;  // how much of the host's reclaimable bytes it has, compared with the others
};

struct DemoKind {
  std::string_view role;
  TidraPlatform platform;
  std::string_view policy;
  std::string_view name;  // "{user}" and "{region}" are replaced, "{n}" by the host's number among those of its kind
  std::string_view home;
  std::int64_t intervalSeconds;
  double share;           // of the fleet; those of all kinds add up to 1
  double gigabytesADay;   // what piles up
  std::int64_t volumeGB;  // the smallest volume; others have two or four times that
  std::span<const DemoFinding> findings;
};

std::span<const DemoKind> demoKinds();
std::span<const std::string_view> demoUsers();
std::span<const std::string_view> demoProjects();
std::span<const std::string_view> demoRegions();
std::span<const std::string_view> demoTeams();
std::span<const std::string_view> demoVersions();  // of the agent, the oldest first
std::span<const std::string_view> demoNotes();

}  // namespace tidra
