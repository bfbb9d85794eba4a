// Python environments: whether something beside one records what was installed in it.
#pragma once

#include <string>

namespace tidra {

/// Whether a Python environment contains only pip, setuptools and wheel.
bool holdsNothingButItsInstaller(const std::string& environment);

/// Whether a file of a Python project lists an environment's packages, not just formatter settings.
bool listsPackages(const std::string& project, const std::string& name);

}  // namespace tidra
