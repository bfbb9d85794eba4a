// Rules files that a user added for good: all scans of that user read them, in byte order of their names.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/rules/rule_catalog.h"

namespace tidra {

struct AddedRules {
  std::string path;
  std::optional<RuleCatalog> catalog;  // absent for a file that cannot be used
  std::string fault;                   // the sentence about such a file
  std::vector<std::string> notes;      // sentences on what is probably a mistake in one that can be used

  /// Returns the files "*.json" of a folder; none for a missing folder. A file that is broken or unreadable, or that
  /// another user owns or could change or replace, has a fault: whoever writes rules decides what is removed. An
  /// unreadable folder is one entry with a fault.
  static std::vector<AddedRules> in(const std::string& folder);

  /// Validates a rules file and copies it into the folder under its own name; with `isDry` only validates. Returns the
  /// copy, without its catalog. Throws InputError for an unusable file and if the name is taken, std::system_error.
  static AddedRules add(const std::string& file, const std::string& folder, bool isDry);

  /// Returns the path of the file with this name, with or without ".json", or with this id as its only rule. Throws
  /// InputError if there is none, or if the file has further rules.
  static std::string find(const std::string& text, const std::string& folder);
};

}  // namespace tidra
