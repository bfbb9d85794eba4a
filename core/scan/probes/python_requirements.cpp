#include "core/scan/probes/python_requirements.h"

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::size_t longestFile = 1_MiB;
constexpr std::size_t mostFiles = 50;

bool isNameByte(char c) { return isAsciiAlphanumeric(c) || c == '-' || c == '_' || c == '.'; }

/// Parses an option written as "-r value", "-rvalue", "--requirement value" or "--requirement=value".
std::optional<std::string_view> optionValue(std::string_view line, std::string_view shortName,
                                            std::string_view longName) {
  if (line.starts_with(longName)) {
    const auto rest = line.substr(longName.size());
    if (rest.starts_with('=') || rest.starts_with(' ') || rest.starts_with('\t')) return trimmed(rest.substr(1));
    return std::nullopt;
  }
  if (line.starts_with(shortName) && !line.starts_with("--")) return trimmed(line.substr(shortName.size()));
  return std::nullopt;
}

/// Returns the name in a link's "#egg=name" or in its wheel's file name.
std::optional<std::string> nameInLink(std::string_view link) {
  const auto egg = link.find("#egg=");
  if (egg != std::string_view::npos) return requirementName(link.substr(egg + 5));
  const auto path = link.substr(0, link.find_first_of("#?"));
  const auto file = lastPathComponent(path);
  const auto dash = file.find('-');
  const bool isPackage = file.ends_with(".whl") || file.ends_with(".tar.gz") || file.ends_with(".zip");
  if (!isPackage || dash == std::string_view::npos || dash == 0 || !file.ends_with(".whl")) return std::nullopt;
  return normalizedPackageName(file.substr(0, dash));
}

class RequirementReader {
 public:
  std::optional<std::set<std::string>> read(const std::string& path) {
    if (!readFileOnce(standardizedPath(path))) return std::nullopt;
    return names_;
  }

 private:
  bool readFileOnce(const std::string& path) {
    if (!seen_.insert(path).second) return true;
    if (seen_.size() > mostFiles) return false;
    const auto text = readRegularFile(path, longestFile);
    if (!text) return false;
    std::string logicalLine;
    for (std::string_view line : split(*text, '\n')) {
      if (line.ends_with('\r')) line.remove_suffix(1);
      // A comment line ends a continuation.
      const bool isComment = trimmed(line).starts_with('#');
      if (line.ends_with('\\') && !isComment) {
        logicalLine += line.substr(0, line.size() - 1);
        continue;
      }
      if (isComment) logicalLine += ' ';
      logicalLine += line;
      if (!readLine(withoutComment(logicalLine), path)) return false;
      logicalLine.clear();
    }
    return readLine(withoutComment(logicalLine), path);
  }

  /// "#" begins a comment at the start of a line or after a blank; elsewhere it belongs to a URL.
  static std::string_view withoutComment(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '#' && (i == 0 || line[i - 1] == ' ' || line[i - 1] == '\t')) return trimmed(line.substr(0, i));
    }
    return trimmed(line);
  }

  bool readLine(std::string_view line, const std::string& path) {
    if (line.empty()) return true;
    if (const auto included = optionValue(line, "-r", "--requirement")) {
      const bool isAbsolute = included->starts_with('/');
      return readFileOnce(
          standardizedPath(isAbsolute ? std::string(*included) : parentPath(path) + "/" + std::string(*included)));
    }
    if (const auto editable = optionValue(line, "-e", "--editable")) return addLink(*editable);
    if (line.starts_with('-')) return true;  // an option of pip
    if (line.find("://") != std::string_view::npos && line.find(" @ ") == std::string_view::npos &&
        line.find('@') > line.find("://")) {
      return addLink(line);
    }
    if (isFile(line)) return addLink(line);
    const auto name = requirementName(line);
    if (name) names_.insert(*name);
    return name.has_value();
  }

  /// Whether this is the path of a package instead of a name.
  static bool isFile(std::string_view line) {
    const auto first = line.substr(0, line.find_first_of(" \t;[@"));
    return first.starts_with('.') || first.find('/') != std::string_view::npos || first.ends_with(".whl") ||
           first.ends_with(".zip") || first.ends_with(".gz");
  }

  bool addLink(std::string_view link) {
    const auto name = nameInLink(link);
    if (name) names_.insert(*name);
    return name.has_value();
  }

  std::set<std::string> seen_;
  std::set<std::string> names_;
};

}  // namespace

std::string normalizedPackageName(std::string_view name) {
  std::string normalized;
  for (const char c : asciiLowered(name)) {
    const bool separator = c == '-' || c == '_' || c == '.';
    if (!separator) {
      normalized += c;
    } else if (!normalized.ends_with('-')) {
      normalized += '-';
    }
  }
  return normalized;
}

std::optional<std::string> requirementName(std::string_view requirement) {
  const auto text = trimmed(requirement);
  const auto end = std::find_if_not(text.begin(), text.end(), isNameByte);
  const std::string_view name = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  if (name.empty() || name.front() == '-' || name.front() == '.' || name.front() == '_') return std::nullopt;
  // A name may be followed by extras, versions, a URL, a marker, or options after a blank.
  const auto rest = trimmed(text.substr(name.size()));
  constexpr std::string_view continuations = "[(<>=!~@;,";
  if (!rest.empty() && !rest.starts_with("--") && continuations.find(rest.front()) == std::string_view::npos)
    return std::nullopt;
  return normalizedPackageName(name);
}

std::optional<std::set<std::string>> readRequirements(const std::string& path) {
  return RequirementReader().read(path);
}

}  // namespace tidra
