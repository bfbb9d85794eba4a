#include "tests/core/scan/probes/probe_fixture.h"

#include <fmt/format.h>
#include <unistd.h>

#include "core/base/text.h"
#include "core/platform/files.h"

namespace tidra {

const std::vector<std::string> uselessScripts{
    "exit 0",
    "exit 1",
    "kill -9 $$",
    "echo word",
    "echo /etc/../..",
    "printf 'one\\n/two\\n\\tthree 4GB\\n-v\\n'",
    R"(printf '\000\377\033[2J\001%s' "$*")",
    "echo '{}'",
    "echo '[]'",
    R"(echo '{"envs": [7, {}], "devices": [null]}')",
    R"(echo '{"envs": "/", "devices": {"r": [1, {"udid": 5}], "s": 6}}')",
    "printf '[%0100000d'",
    "exec yes",
    "exec yes >&2",
};

ProbeFixture::ProbeFixture() {
  context.resolver = {tree_.makeFolder("home"),
                      {{"PATH", tree_.makeFolder("bin") + ":/usr/bin:/bin"}, {"TMPDIR", tree_.makeFolder("tmp")}}};
  context.catalog = &catalog;
  context.platform = TidraPlatform::linux;
  context.now = TimePoint{std::chrono::seconds{1700000000}};
}

std::string ProbeFixture::script(const std::string& name, const std::string& body) const {
  return tree_.writeProgram("bin/" + name, body);
}

std::string ProbeFixture::tool(const std::string& name, const Answers& answers) const {
  std::string body = fmt::format("{{ printf '{} '; printf '[%s]' \"$@\"; echo; }} >> '{}'\ncase \"$*\" in\n", name,
                                 tree_.path("calls"));
  for (const auto& [arguments, action] : answers) {
    const bool open = arguments.ends_with('*');
    body +=
        fmt::format("'{}'{}) {};;\n", arguments.substr(0, arguments.size() - (open ? 1 : 0)), open ? "*" : "", action);
  }
  return script(name, body + "*) exit 1;;\nesac");
}

std::vector<std::string> ProbeFixture::calls() const {
  std::vector<std::string> lines;
  const auto text = readFile(tree_.path("calls"));
  if (!text) return lines;
  for (const auto line : splitNonEmpty(*text, '\n')) lines.emplace_back(line);
  return lines;
}

std::string ProbeFixture::hang() {
  const std::string started = tree_.path("started");
  context.shouldCancel = [started] { return ::access(started.c_str(), F_OK) == 0; };
  return fmt::format("trap '' TERM; : > '{}'; while :; do sleep 600; done", started);
}

void ProbeFixture::handTo(SystemProbeContext& other) const {
  other.resolver = context.resolver;
  other.catalog = context.catalog;
  other.platform = context.platform;
  other.now = context.now;
  other.shouldCancel = context.shouldCancel;
}

std::string ProbeFixture::shown(std::string text) const {
  for (auto at = text.find(tree_.root()); at != std::string::npos; at = text.find(tree_.root()))
    text.replace(at, tree_.root().size(), "@");
  return text;
}

std::vector<std::string> ProbeFixture::lines(const ProbeReport& report) const {
  std::vector<std::string> lines;
  for (const ProbeItem& item : report.items) {
    lines.push_back(
        shown(fmt::format("{} | {} | {}", item.finding.path, item.finding.label,
                          item.measuredFolder ? *item.measuredFolder : std::to_string(item.finding.sizeBytes))));
  }
  return lines;
}

}  // namespace tidra
