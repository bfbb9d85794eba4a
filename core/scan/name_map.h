// Lookup by entry name for a walk: called for every entry, with nearly no hits.
#pragma once

#include <array>
#include <cassert>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tidra {

template <class T>
class NameMap {
 public:
  /// Inserts a missing value. The name must not be empty.
  T& operator[](std::string_view name) {
    assert(!name.empty());
    lengths_[static_cast<unsigned char>(name.front())] |= lengthBit(name);
    return values_.try_emplace(std::string(name)).first->second;
  }

  /// Returns null for an unknown name. Rejects most names by first byte and length, without hashing.
  const T* find(std::string_view name) const {
    if (name.empty() || (lengths_[static_cast<unsigned char>(name.front())] & lengthBit(name)) == 0) return nullptr;
    const auto found = values_.find(name);
    return found == values_.end() ? nullptr : &found->second;
  }

  bool empty() const { return values_.empty(); }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  /// Lengths from 63 on share a bit.
  static std::uint64_t lengthBit(std::string_view name) {
    constexpr std::size_t lastBit = 63;
    return std::uint64_t{1} << (name.size() < lastBit ? name.size() : lastBit);
  }

  std::array<std::uint64_t, 256> lengths_{};  // of the names that begin with each byte
  std::unordered_map<std::string, T, Hash, std::equal_to<>> values_;
};

}  // namespace tidra
