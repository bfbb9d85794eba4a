// The protected paths of a policy, compiled to test many paths.
//
// Paths are matched component by component. Protected folders form a trie. A pattern is indexed by its anchor, a
// literal component, in a hash table; only patterns without one are tried on every component, mostly rejected by a
// Bloom filter of bigrams. The state of each level is reused for the next path: neighbours in a report share most
// folders.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/exclusion_filter.h"
#include "core/scan/name_map.h"

namespace tidra {

/// Not thread-safe.
class ProtectedPaths {
 public:
  explicit ProtectedPaths(const TidraScanExclusionFilter& filter);

  /// True when the filter excludes the path or a folder above it, or when a folder of the filter is inside the path,
  /// where removal would destroy it. `path` must be standardised.
  bool cover(std::string_view path);

 private:
  /// A node of the trie: a protected folder or an ancestor of one.
  struct Place {
    bool isProtected = false;
    NameMap<std::unique_ptr<Place>> children;
  };

  /// A 64-bit Bloom filter of bigrams: false positives, no false negatives.
  class PairSet {
   public:
    PairSet() = default;
    explicit PairSet(std::string_view text) {
      for (std::size_t i = 1; i < text.size(); ++i) bits_ |= std::uint64_t{1} << bitOf(text[i - 1], text[i]);
    }

    /// False when a text with these bigrams cannot contain those of `pairs`.
    bool mayHold(PairSet pairs) const { return (pairs.bits_ & ~bits_) == 0; }
    PairSet operator|(PairSet other) const {
      other.bits_ |= bits_;
      return other;
    }

   private:
    static unsigned bitOf(char first, char second) {
      constexpr unsigned factor = 0x9E37;  // mixes neighbouring values
      const unsigned pair = static_cast<unsigned char>(first) << 8U | static_cast<unsigned char>(second);
      return pair * factor >> 10U & 63U;
    }

    std::uint64_t bits_ = 0;
  };

  /// One component of a pattern.
  class Component {
   public:
    explicit Component(std::string_view text);

    bool isLiteral() const { return shape_ == Shape::literal; }
    const std::string& text() const { return text_; }
    bool matches(const std::string& name) const;
    /// Bigrams of every matching name.
    PairSet pairs() const { return pairs_; }

   private:
    enum class Shape { literal, oneStar, general };

    std::string text_;
    Shape shape_ = Shape::literal;
    std::string_view::size_type headLength_ = 0;  // bytes before the first wildcard
    std::string_view::size_type tailLength_ = 0;  // bytes after the last one
    PairSet pairs_;
  };

  struct Pattern {
    std::vector<Component> components;  // the first of an absolute pattern is empty
    std::size_t anchor = 0;             // index of the literal component that indexes it
  };

  /// Cached state of one component of the last path.
  struct Level {
    std::string name;
    const Place* place = nullptr;  // absent: no protected folder here or below
    bool isProtected = false;      // including ancestors, without anchored patterns
  };

  void addFolder(std::string_view path);
  void addPattern(const std::string& pattern);
  void setLevels(std::string_view path);
  void addLevel(std::string_view name, std::string_view pathSoFar);
  bool matchesFrom(const Pattern& pattern, std::size_t first) const;
  bool matchesEndingHere(const Pattern& pattern) const;
  bool matchesAnchored() const;
  bool isLooseName(const std::string& name) const;

  Place root_;
  std::vector<Pattern> anchored_;
  NameMap<std::vector<std::size_t>> anchors_;  // indices into anchored_
  std::vector<Component> looseNames_;          // patterns of one component, without an anchor
  std::vector<PairSet> looseNamePairs_;        // theirs, contiguous for the cache
  std::vector<Pattern> loose_;                 // longer patterns without an anchor
  TidraScanExclusionFilter unsplit_;           // patterns whose "/" may not separate components
  std::vector<Level> levels_;                  // the first is the empty text before the first "/"
  std::size_t depth_ = 0;                      // levels in use; the others keep their memory
};

}  // namespace tidra
