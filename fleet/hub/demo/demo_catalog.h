// Building blocks of a demo fleet: kinds of hosts, names, projects and findings.
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
  double weight;  // relative share of the host's reclaimable bytes
};

struct DemoKind {
  std::string_view role;
  TidraPlatform platform;
  std::string_view policy;
  std::string_view name;  // placeholders: "{user}", "{region}", and "{n}", the host's number within its kind
  std::string_view home;
  std::int64_t intervalSeconds;
  double share;           // of the fleet; all kinds add up to 1
  double gigabytesADay;   // growth of reclaimable data
  std::int64_t volumeGB;  // smallest volume; others have two or four times that
  std::span<const DemoFinding> findings;
};

std::span<const DemoKind> demoKinds();
std::span<const std::string_view> demoUsers();
std::span<const std::string_view> demoProjects();
std::span<const std::string_view> demoRegions();
std::span<const std::string_view> demoTeams();
std::span<const std::string_view> demoVersions();  // of the agent, oldest first
std::span<const std::string_view> demoNotes();

}  // namespace tidra
