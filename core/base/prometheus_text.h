// Prometheus text exposition format, version 0.0.4.
#pragma once

#include <fmt/format.h>

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace tidra {

/// Escapes a label value. Malformed UTF-8 and NUL become U+FFFD.
std::string prometheusLabelValue(std::string_view bytes);

/// Writes metric families one after another. Callers pass unique series: a duplicate invalidates the whole exposition.
class PrometheusText {
 public:
  enum class Type { gauge, counter };
  using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;  // values already escaped

  /// `name` must outlive the family. `help` contains no line feed and no backslash.
  void beginFamily(std::string_view name, Type type, std::string_view help);

  void addSample(std::string_view value, Labels labels = {});
  void addSample(std::integral auto value, Labels labels = {}) {
    addSample(std::string_view(fmt::format_int(value).c_str()), labels);
  }

  // Families of one sample without labels.
  void addGauge(std::string_view name, std::string_view help, std::string_view value);
  void addGauge(std::string_view name, std::string_view help, std::integral auto value) {
    addGauge(name, help, fmt::to_string(value));
  }
  void addCounter(std::string_view name, std::string_view help, std::integral auto value) {
    beginFamily(name, Type::counter, help);
    addSample(value);
  }

  std::string take() { return std::move(text_); }

 private:
  std::string_view name_;
  std::string text_;
};

}  // namespace tidra
