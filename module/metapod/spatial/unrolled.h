#pragma once

#include <cstddef>
#include <utility>

namespace metapod::Spatial {

template <typename Function, std::size_t... k>
constexpr void unrolled(const Function& function, std::index_sequence<k...>) noexcept {
  (function(std::integral_constant<std::size_t, k>{}), ...);
}

/// function(k) for k = 0 to n - 1, as n calls and not as a loop: compilers leave loops of six rolled.
template <std::size_t n, typename Function>
constexpr void unrolled(const Function& function) noexcept {
  unrolled(function, std::make_index_sequence<n>{});
}

}  // namespace metapod::Spatial
