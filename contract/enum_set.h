#pragma once

#include <initializer_list>

namespace korvel {

/// A set of values of an enumeration, which are smaller than 32.
template <typename Kind>
class EnumSet {
 public:
  constexpr EnumSet() = default;
  constexpr EnumSet(std::initializer_list<Kind> kinds) {
    for (const Kind kind : kinds) bits_ |= bit(kind);
  }

  constexpr bool has(Kind kind) const { return (bits_ & bit(kind)) != 0; }
  constexpr bool empty() const { return bits_ == 0; }
  /// Returns the smallest value of a set that is not empty.
  constexpr Kind first() const {
    unsigned kind = 0;
    while ((bits_ >> kind & 1U) == 0) ++kind;
    return static_cast<Kind>(kind);
  }
  constexpr bool meets(EnumSet other) const { return (bits_ & other.bits_) != 0; }

  friend constexpr EnumSet operator|(EnumSet a, EnumSet b) {
    a.bits_ |= b.bits_;
    return a;
  }
  friend constexpr EnumSet operator&(EnumSet a, EnumSet b) {
    a.bits_ &= b.bits_;
    return a;
  }
  friend constexpr bool operator==(EnumSet a, EnumSet b) { return a.bits_ == b.bits_; }

  /// Calls `visit` with each value, the smallest first.
  template <typename Visit>
  constexpr void for_each(const Visit& visit) const {
    for (unsigned kind = 0; bits_ >> kind != 0; ++kind) {
      if ((bits_ >> kind & 1U) != 0) visit(static_cast<Kind>(kind));
    }
  }

 private:
  static constexpr unsigned bit(Kind kind) { return 1U << static_cast<unsigned>(kind); }

  unsigned bits_ = 0;
};

}  // namespace korvel
