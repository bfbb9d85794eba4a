// curl's input and output are files in a private folder: "headers" and "body" of the request, "head" and "out" of the
// response. The destructor removes it.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "core/base/text.h"
#include "core/base/uuid.h"
#include "core/platform/files.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "core/platform/process_runner.h"
#include "fleet/http/http_parser.h"
#include "fleet/http/http_transport.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

/// curl enforces --max-time itself; this is for a curl that does not end.
constexpr double graceSeconds = 5;

class ExchangeFolder {
 public:
  explicit ExchangeFolder(const Environment& environment) {
    const auto configured = environment.find("TMPDIR");
    const bool isUsable = configured != environment.end() && configured->second.starts_with('/');
    root_ = joinedPath(isUsable ? configured->second : "/tmp", "tidra-http-" + makeUuid());
    makePrivateFolders(root_);
  }
  ~ExchangeFolder() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  ExchangeFolder(const ExchangeFolder&) = delete;
  ExchangeFolder& operator=(const ExchangeFolder&) = delete;

  std::string path(std::string_view name) const { return joinedPath(root_, name); }
  std::string write(std::string_view name, std::string_view bytes) const {
    std::string file = path(name);
    const auto made = makeFile(file);
    const auto reason = made ? appendWhole(*made, bytes, 0) : made.failure();
    if (reason) throw std::system_error(reason, file);
    return file;
  }
  std::string read(std::string_view name) const {
    if (isTooLarge(name)) throw HTTPClientError::io("response too large");
    const auto bytes = readRegularFile(path(name), HTTPClient::mostResponseBytes);
    // curl writes no file for a response without a body.
    return bytes ? *bytes : std::string();
  }
  bool isTooLarge(std::string_view name) const {
    std::error_code missing;
    const auto size = fs::file_size(path(name), missing);
    return !missing && size > HTTPClient::mostResponseBytes;
  }

 private:
  std::string root_;
};

/// One line a header for curl's `-H @file`. "Name;" sends a header without a value; "Name:" would remove it.
std::string headerLines(const HTTPHeaders& headers) {
  std::string lines;
  for (const auto& [name, value] : headers) {
    lines += value.empty() ? fmt::format("{};\n", name) : fmt::format("{}: {}\n", name, value);
  }
  return lines;
}

std::vector<std::string> arguments(const HTTPClient::Request& request, const HTTPURL& url, double timeout,
                                   const ExchangeFolder& folder) {
  std::vector<std::string> list{"-sS", "-X", request.method, "--max-time"};
  list.push_back(std::to_string(static_cast<long>(std::trunc(timeout))));
  list.insert(list.end(), {"-o", folder.path("out"), "-D", folder.path("head"), "-w", "%{http_code}"});
  list.insert(list.end(), {"-A", userAgent()});
  if (!request.headers.empty()) {
    list.insert(list.end(), {"-H", "@" + folder.write("headers", headerLines(request.headers))});
  }
  if (!request.body.empty()) list.insert(list.end(), {"--data-binary", "@" + folder.write("body", request.body)});
  list.push_back(url.text());
  return list;
}

/// The exit status and the first line of stderr, escaped for terminals.
std::string curlFailure(const ProcessRunner::Result& result) {
  std::string detail = fmt::format("curl exited {}", result.status);
  const std::string_view said = std::string_view(result.stderr_).substr(0, result.stderr_.find('\n'));
  if (!said.empty()) detail += ": " + escapedForTerminal(said);
  return detail;
}

HTTPClientResponse exchanged(const std::string& curl, const HTTPClient::Request& request, const HTTPURL& url,
                             double timeout, const Environment& environment, const StopSignal& stop) {
  const ExchangeFolder folder(environment);
  const auto isEndless = [&folder] { return folder.isTooLarge("out") || folder.isTooLarge("head"); };
  ProcessRunner::Command command{curl, arguments(request, url, timeout, folder)};
  command.environment = environment;
  command.timeoutSeconds = timeout + graceSeconds;
  command.shouldCancel = [&] { return stop.isRaised() || isEndless(); };
  const auto result = ProcessRunner::run(command);
  if (stop.isRaised()) throw HTTPClientError::io("cancelled");
  if (isEndless()) throw HTTPClientError::io("response too large");
  if (!result) throw HTTPClientError::timeout();
  if (result->status != 0) throw HTTPClientError::connect(curlFailure(*result));
  const auto status = statusCodeOf(result->stdout_);
  if (!status) throw HTTPClientError::malformed();
  return {*status, lastHeaders(folder.read("head")), folder.read("out")};
}

}  // namespace

HTTPClientResponse sendWithCurl(const HTTPClient::Request& request, const HTTPURL& url, double timeout,
                                const Environment& environment, const StopSignal& stop) {
  const auto curl = ProcessRunner::which("curl", environment);
  if (!curl) throw HTTPClientError::noTLSSupport();
  const double seconds = std::isfinite(timeout) ? std::clamp(timeout, 0.0, longestTimeoutSeconds) : 0.0;
  try {
    return exchanged(*curl, request, url, seconds, environment, stop);
  } catch (const std::system_error& failure) {  // of the folder's files
    throw HTTPClientError::io(failure.what());
  }
}

}  // namespace tidra
