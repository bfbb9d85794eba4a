// Python environments: whether something beside one records what was installed in it.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Whether an environment holds only what its creation puts there: the interpreter, pip, setuptools and wheel.
bool holdsNothingButItsInstaller(const std::string& environment);

/// Whether a file of a Python project names at least one package to install: "requirements*.txt", "pyproject.toml",
/// "setup.cfg", "setup.py", "Pipfile", "environment.yml" or a lock file. Unreadable text names none; a file larger than
/// 1 MiB does.
bool listsPackages(const std::string& project, const std::string& name);

}  // namespace tidra
