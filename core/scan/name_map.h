// Lookup by entry name for a walk: called for every entry, with nearly no hits.
#pragma once

#include <bitset>
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
    lengths_ |= lengthBit(name);
    firstBytes_.set(static_cast<unsigned char>(name.front()));
    return values_.try_emplace(std::string(name)).first->second;
  }

  /// Returns null for an unknown name. Rejects most names by length or first byte, without hashing.
  const T* find(std::string_view name) const {
    if ((lengths_ & lengthBit(name)) == 0 || !firstBytes_.test(static_cast<unsigned char>(name.front())))
      return nullptr;
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

  std::uint64_t lengths_ = 0;
  std::bitset<256> firstBytes_;
  std::unordered_map<std::string, T, Hash, std::equal_to<>> values_;
};

}  // namespace tidra
