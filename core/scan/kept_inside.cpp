#include "core/scan/kept_inside.h"

#include <fmt/format.h>

#include "core/base/text.h"

namespace tidra {

std::string KeptInside::reason(const TidraPathResolver& resolver) const {
  const auto what =
      why == Why::excluded ? "excluded" : describedStore(why == Why::trash ? StoreKind::trash : StoreKind::quarantine);
  return fmt::format("holds {}, which is {}", escapedForTerminal(resolver.displayPath(path)), what);
}

}  // namespace tidra
