#include "core/scan/kept_inside.h"

#include <fmt/format.h>

#include "core/base/text.h"

namespace tidra {

namespace {

std::string_view described(KeptInside::Why why) {
  switch (why) {
    case KeptInside::Why::excluded:
      return "excluded";
    case KeptInside::Why::neverRemoved:
      return "never to be removed";
    case KeptInside::Why::trash:
      return describedStore(StoreKind::trash);
    case KeptInside::Why::neverRemovedItself:
    case KeptInside::Why::quarantine:
    case KeptInside::Why::keepFile:
    case KeptInside::Why::unreadable:
    case KeptInside::Why::ofRoot:
    case KeptInside::Why::ofOthers:
      break;
  }
  return describedStore(StoreKind::quarantine);
}

}  // namespace

std::string KeptInside::reason(const TidraPathResolver& resolver) const {
  const std::string shown = escapedForTerminal(resolver.displayPath(path));
  if (why == Why::keepFile) return fmt::format("is kept by {}", shown);
  if (why == Why::neverRemovedItself) return fmt::format("is protected by never.paths, which covers {}", shown);
  if (why == Why::unreadable) return fmt::format("has contents that cannot be read ({})", shown);
  if (why == Why::ofRoot || why == Why::ofOthers) {
    return fmt::format("holds {}, which belongs to {} and may not be emptied by you", shown,
                       why == Why::ofRoot ? "root" : "another user");
  }
  return fmt::format("holds {}, which is {}", shown, described(why));
}

}  // namespace tidra
