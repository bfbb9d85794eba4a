// What a request asks for besides its path, and how it is told that it cannot have it.
#pragma once

#include <fmt/format.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/base/enum_table.h"

namespace tidra {

/// A request that is refused; what() is the message of the answer.
class HubRefusal : public std::runtime_error {
 public:
  HubRefusal(int status, const std::string& message) : std::runtime_error(message), status_(status) {}

  int status() const { return status_; }

 private:
  int status_;
};

/// The parameters of a request. Each function throws HubRefusal, 400 with a message that names the parameter, for a
/// value that means nothing.
class HubQuery {
 public:
  /// Keeps a reference.
  explicit HubQuery(const std::map<std::string, std::string>& pairs) : pairs_(pairs) {}

  /// Empty when it is absent.
  std::string text(const std::string& name) const;
  /// None when it is absent.
  std::optional<std::size_t> count(const std::string& name) const;
  /// "0" or "1"; true when it is absent.
  bool isWanted(const std::string& name) const;

  /// One of the raw values; none when it is absent or empty.
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
