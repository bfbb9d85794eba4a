// Query parameters of a request, and refusals.
#pragma once

#include <fmt/format.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/base/enum_table.h"

namespace tidra {

/// A refused request; what() is the response's message.
class HubRefusal : public std::runtime_error {
 public:
  HubRefusal(int status, const std::string& message) : std::runtime_error(message), status_(status) {}

  int status() const { return status_; }

 private:
  int status_;
};

/// Parses query parameters. Each function throws HubRefusal, a 400 that names the parameter, for an invalid value.
class HubQuery {
 public:
  /// Holds a reference.
  explicit HubQuery(const std::map<std::string, std::string>& pairs) : pairs_(pairs) {}

  /// Empty when absent.
  std::string text(const std::string& name) const;
  /// None when absent.
  std::optional<std::size_t> count(const std::string& name) const;
  /// "0" or "1"; true when absent.
  bool isWanted(const std::string& name) const;

  /// One of the raw values; none when absent or empty.
  template <TabledEnum E>
  std::optional<E> choice(const std::string& name) const {
    const std::string given = text(name);
    if (given.empty()) return std::nullopt;
    if (const auto known = fromRawValue<E>(given)) return known;
    refuse(name, given, fmt::format("one of {}", rawValueList<E>()));
  }

 private:
  [[noreturn]] static void refuse(const std::string& name, const std::string& given, const std::string& expected);

  const std::map<std::string, std::string>& pairs_;
};

}  // namespace tidra
