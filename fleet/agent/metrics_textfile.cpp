#include "fleet/agent/metrics_textfile.h"

#include "core/platform/files.h"

namespace tidra {

void MetricsTextfile::write(std::string_view text, const std::string& path) { publishFile(path, text); }

}  // namespace tidra
