#include "fleet/hub/dashboard_page.h"

#include "core/base/core_info.h"
#include "fleet/hub/dashboard/dashboard_text.h"

namespace tidra {
namespace {

/// CSP: only the page's own scripts and styles, and requests to its own hub only.
constexpr std::string_view contentPolicy =
    "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data:; connect-src 'self'";

std::string escapedForHtml(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string replacingAll(std::string_view text, std::string_view wanted, std::string_view replacement) {
  std::string result;
  for (auto place = text.find(wanted); place != std::string_view::npos; place = text.find(wanted)) {
    result += text.substr(0, place);
    result += replacement;
    text.remove_prefix(place + wanted.size());
  }
  result += text;
  return result;
}

}  // namespace

std::string dashboardPage(std::string_view title) {
  // The title last, so that placeholders in it are not replaced.
  const std::string page = replacingAll(dashboardText, "__TIDRA_VERSION__", TidraCoreInfo::version);
  return replacingAll(page, "__HUB_TITLE__", escapedForHtml(title));
}

HTTPResponse dashboardResponse(std::string_view method, const std::string& page) {
  if (method != "GET" && method != "HEAD") {
    HTTPResponse refusal = HTTPResponse::text(405, "method not allowed");
    refusal.headers["Allow"] = "GET, HEAD";
    return refusal;
  }
  HTTPResponse response = HTTPResponse::html(200, page);
  response.headers["Content-Security-Policy"] = contentPolicy;
  return response;
}

}  // namespace tidra
