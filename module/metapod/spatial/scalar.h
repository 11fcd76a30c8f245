#pragma once

/// The requirements on scalars that every formula of the spatial algebra relies on.
///
/// The value types are templates over their scalar, with the plain names for float. A scalar supports +, - and *
/// (and / where a formula divides), is made from a small whole number, and is zero when value-initialised.
///
/// The same inputs give the same bits on every build. So sums of three terms run from left to right,
/// (a + b) + c, in every formula, nothing is contracted or reassociated, and float expressions are evaluated in
/// float. The build passes the flags; what can be seen from here is checked.

#include <cfloat>

namespace metapod::Spatial {

/// Every value type has a `map` beside it, the one place that lists its components: the value with f(x) for each
/// component x, or with f(x, y, ...) for the components of several values that belong together. A float is its only
/// component.
template <typename Function, typename... Scalars>
constexpr auto map(const Function& f, float x, const Scalars&... others) noexcept {
  return f(x, others...);
}

static_assert(FLT_EVAL_METHOD == 0, "float expressions must be evaluated in float: on 32-bit x86, use SSE arithmetic");
#if defined(__FAST_MATH__)
static_assert(false, "relaxed arithmetic changes the last bits: compile without -ffast-math");
#endif

}  // namespace metapod::Spatial
