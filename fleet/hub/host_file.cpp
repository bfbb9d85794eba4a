// The history is nearly all of a host's file. Where the text is exactly as HubJSON::compact writes it, the history is
// read by a scanner that knows nothing else, and the general decoder gets the document without it. Any other text goes
// to the general decoder as a whole, so that the scanner decides nothing.
#include "fleet/hub/host_file.h"

#include <fmt/format.h>

#include <optional>

#include "core/base/canonical_json.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"
#include "core/platform/platform.h"
#include "core/platform/staged_file.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

bool isKept(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

struct SplitFile {
  std::string document;  // with an empty history
  std::vector<HubHistoryPoint> history;
};

std::optional<SplitFile> splitHistory(std::string_view text) {
  CanonicalReader reader(text);
  TimePoint firstSeen;
  if (!reader.skip(R"({"firstSeen":)") || !reader.read(firstSeen) || !reader.skip(R"(,"history":)"))
    return std::nullopt;
  SplitFile parts{std::string(text.substr(0, text.size() - reader.rest().size())), {}};
  parts.history.reserve(HubHostFile::mostHistory);
  if (!readCanonicalHistory(reader, parts.history)) return std::nullopt;
  // A second history would come after this one and count in its place.
  if (reader.rest().find(R"("history")") != std::string_view::npos) return std::nullopt;
  parts.document.append("[]").append(reader.rest());
  return parts;
}

}  // namespace

std::string hostFileName(std::string_view host) {
  std::string name;
  for (const char c : replacingInvalidUtf8(host)) {
    constexpr unsigned continuationMask = 0xC0;
    constexpr unsigned continuation = 0x80;
    if ((static_cast<unsigned char>(c) & continuationMask) == continuation) continue;  // continuation byte
    name += isKept(c) ? c : '_';
  }
  if (name.empty()) name = "_";
  constexpr std::size_t most = 240 - jsonExtension.size();
  constexpr std::size_t longestFileName = 255;
  static_assert(most + jsonExtension.size() + StagedFile::extraNameBytes <= longestFileName);
  if (name.size() > most) {
    const std::string hash = "_" + StableID::make(host);
    name.resize(most - hash.size());
    name += hash;
  }
  name += jsonExtension;
  return name;
}

std::string hostFileKey(const std::string& fileName) {
  return currentPlatform == TidraPlatform::macOS ? asciiLowered(fileName) : fileName;
}

HubHostFile parseHostFile(std::string_view text, const std::string& what) {
  auto parts = splitHistory(text);
  if (!parts) return HubJSON::decode<HubHostFile>(text, what, text.size());
  auto file = HubJSON::decode<HubHostFile>(parts->document, what, parts->document.size());
  file.history = std::move(parts->history);
  file.history.shrink_to_fit();
  return file;
}

}  // namespace tidra
