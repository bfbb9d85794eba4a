// The arguments of other processes, as /proc shows them. A process may rewrite its command line: untrusted text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Returns the first `most` arguments that lie within the first 8 KiB; none if the process is gone.
std::vector<std::string> firstArguments(std::int64_t process, std::size_t most);

/// Returns the parts of an argument that may be paths: "--root=dist", "file:///srv/dist", "lib/a.jar:target/classes".
/// Excludes options without a folder and paths like "/dev/fd/3", which each process resolves to a file of its own.
std::vector<std::string_view> possiblePaths(std::string_view argument);

}  // namespace tidra
