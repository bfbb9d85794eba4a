// macOS tells it only through private calls, so nothing is known here. Not run on any machine but a Mac, and so far
// untested.
#include "core/platform/usage.h"

namespace tidra {

UsageSnapshot UsageSnapshot::take() { return {}; }

}  // namespace tidra
