// What rows are grouped by: their projects, ecosystems or activities, numbered from 0.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "app/view/shared_text.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"

namespace tidra {

struct RowClass {
  std::uint64_t id = 0;  // stable, and of this kind of class only
  SharedText key;
  SharedText name;
  std::string order;  // classes sorted by name are in the order of these
};

class RowClasses {
 public:
  /// Returns the number of the class with this key; `makeName` makes the name of a new one.
  template <class MakeName>
  std::uint32_t numberOf(const SharedText& key, std::string_view kind, MakeName makeName) {
    const auto [place, isNew] = numbers_.try_emplace(key.view(), static_cast<std::uint32_t>(classes_.size()));
    if (isNew) {
      const SharedText name = makeName();
      classes_.push_back({StableID::number(std::string(kind) + key.string()), key, name, asciiLowered(name.view())});
    }
    return place->second;
  }

  const RowClass& operator[](std::size_t number) const { return classes_[number]; }
  std::size_t size() const { return classes_.size(); }

  /// The place of each class among all by `order`; the same for equal ones. Made anew when classes were added.
  const std::vector<std::uint32_t>& ranks() const {
    if (ranks_.size() == classes_.size()) return ranks_;
    std::vector<std::uint32_t> sorted(classes_.size());
    std::iota(sorted.begin(), sorted.end(), 0U);
    std::sort(sorted.begin(), sorted.end(), [&](auto a, auto b) { return classes_[a].order < classes_[b].order; });
    ranks_.resize(classes_.size());
    for (std::uint32_t i = 0; i < sorted.size(); ++i) {
      const bool isEqual = i > 0 && classes_[sorted[i - 1]].order == classes_[sorted[i]].order;
      ranks_[sorted[i]] = isEqual ? ranks_[sorted[i - 1]] : i;
    }
    return ranks_;
  }

 private:
  std::vector<RowClass> classes_;
  std::unordered_map<std::string_view, std::uint32_t> numbers_;  // the keys lie in classes_
  mutable std::vector<std::uint32_t> ranks_;                     // of the first classes, or of all
};

}  // namespace tidra
