// macOS reports it only through private calls, so nothing is known here. Compiled on Linux by scripts/check-macos; not
// yet run on a Mac.
#include "core/platform/usage.h"

namespace tidra {

UsageSnapshot UsageSnapshot::take() { return {}; }

}  // namespace tidra
