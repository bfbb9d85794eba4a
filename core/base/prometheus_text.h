// Prometheus's text exposition, version 0.0.4.
#pragma once

#include <fmt/format.h>

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace tidra {

/// A text as it stands between the quotes of a label: escaped, and with U+FFFD for what is not UTF-8 and for NUL.
std::string prometheusLabelValue(std::string_view bytes);

/// Writes families one after another. A series that came twice would void the whole text; the caller sees to that.
class PrometheusText {
 public:
  enum class Type { gauge, counter };
  using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;  // keys with escaped values

  /// `name` is kept as it is until the next family begins. `help` holds neither a line feed nor a backslash.
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
