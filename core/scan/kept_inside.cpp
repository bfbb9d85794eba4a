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
    case KeptInside::Why::quarantine:
      break;
  }
  return describedStore(StoreKind::quarantine);
}

}  // namespace

std::string KeptInside::reason(const TidraPathResolver& resolver) const {
  return fmt::format("holds {}, which is {}", escapedForTerminal(resolver.displayPath(path)), described(why));
}

}  // namespace tidra
