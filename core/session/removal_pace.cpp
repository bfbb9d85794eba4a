#include "core/session/removal_pace.h"

namespace tidra {

RemovalPace paceOf(const CleanupProgress& progress, std::chrono::duration<double> elapsed) {
  RemovalPace pace;
  const double seconds = elapsed.count();
  const double rate = seconds >= 1 ? static_cast<double>(progress.bytesDone) / seconds : 0;
  if (rate < 1) return pace;
  pace.bytesPerSecond = rate;
  if (progress.bytesDone < progress.bytes) {
    pace.secondsLeft = static_cast<double>(progress.bytes - progress.bytesDone) / rate;
  }
  return pace;
}

}  // namespace tidra
