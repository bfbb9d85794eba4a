// The protected paths of a policy, compiled for a long list of items to be asked about.
//
// A path is looked at component by component. Protected folders form a tree that is descended along with it. A pattern
// is found through its anchor, a component that stands for itself alone, in a table of names. Only patterns without one
// are tried on every component, and most of them are seen not to match by the pairs of bytes that the name lacks. What
// was said of a folder is kept for the next path, since neighbours in a report share most of their folders.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/exclusion_filter.h"
#include "core/scan/name_map.h"

namespace tidra {

/// Not to be shared between threads.
class ProtectedPaths {
 public:
  explicit ProtectedPaths(const TidraScanExclusionFilter& filter);

  /// True when the filter excludes the path or a folder above it, and when a folder of the filter lies in the path:
  /// removal would take it along. The path is standardised.
  bool cover(std::string_view path);

 private:
  /// A component of the tree of folders; it stands for a protected one or for what holds one.
  struct Place {
    bool isProtected = false;
    NameMap<std::unique_ptr<Place>> children;
  };

  /// Which pairs of neighbouring bytes stand in a text, as far as 64 bits can tell.
  class PairSet {
   public:
    PairSet() = default;
    explicit PairSet(std::string_view text) {
      for (std::size_t i = 1; i < text.size(); ++i) bits_ |= std::uint64_t{1} << bitOf(text[i - 1], text[i]);
    }

    /// False when no text with these pairs holds all of those.
    bool mayHold(PairSet pairs) const { return (pairs.bits_ & ~bits_) == 0; }
    PairSet operator|(PairSet other) const {
      other.bits_ |= bits_;
      return other;
    }

   private:
    static unsigned bitOf(char first, char second) {
      constexpr unsigned factor = 0x9E37;  // spreads neighbouring values
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
    /// Every name that matches holds these.
    PairSet pairs() const { return pairs_; }

   private:
    enum class Shape { literal, oneStar, general };

    std::string text_;
    Shape shape_ = Shape::literal;
    std::string_view::size_type headLength_ = 0;  // bytes before the first wildcard
    std::string_view::size_type tailLength_ = 0;  // bytes behind the last one
    PairSet pairs_;
  };

  struct Pattern {
    std::vector<Component> components;  // the first of an absolute pattern is empty
    std::size_t anchor = 0;             // index of the component that it is found by
  };

  /// What is known of a component of the path that was asked last, and of the folders above it.
  struct Level {
    std::string name;
    const Place* place = nullptr;  // absent: no protected folder is there or below
    bool isProtected = false;      // apart from anchored patterns
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
  std::vector<PairSet> looseNamePairs_;        // theirs, close to each other
  std::vector<Pattern> loose_;                 // longer patterns without an anchor
  TidraScanExclusionFilter unsplit_;           // patterns whose "/" stand where they do not separate components
  std::vector<Level> levels_;                  // the first is empty, as before the first "/"
  std::size_t depth_ = 0;                      // levels in use; the names of the others keep their memory
};

}  // namespace tidra
