#include "core/base/prometheus_text.h"

#include "core/base/text.h"

namespace tidra {

std::string prometheusLabelValue(std::string_view bytes) {
  // Readers refuse an exposition that is not UTF-8, and some end it at a NUL.
  std::string value;
  for (const char byte : replacingInvalidUtf8(bytes)) {
    switch (byte) {
      case '\\':
        value += "\\\\";
        break;
      case '"':
        value += "\\\"";
        break;
      case '\n':
        value += "\\n";
        break;
      case '\0':
        value += "\uFFFD";
        break;
      default:
        value += byte;
    }
  }
  return value;
}

void PrometheusText::beginFamily(std::string_view name, Type type, std::string_view help) {
  name_ = name;
  text_ += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type == Type::gauge ? "gauge" : "counter");
}

void PrometheusText::addSample(std::string_view value, Labels labels) {
  // Appends instead of formatting: a fleet has one sample per host in each of a dozen families.
  text_ += name_;
  char separator = '{';
  for (const auto& [key, label] : labels) {
    text_ += std::exchange(separator, ',');
    text_ += key;
    text_ += "=\"";
    text_ += label;
    text_ += '"';
  }
  if (labels.size() != 0) text_ += '}';
  text_ += ' ';
  text_ += value;
  text_ += '\n';
}

void PrometheusText::addGauge(std::string_view name, std::string_view help, std::string_view value) {
  beginFamily(name, Type::gauge, help);
  addSample(value);
}

}  // namespace tidra
