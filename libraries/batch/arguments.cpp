#include "batch/arguments.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "batch/refusal.h"

namespace korvel::batch {

namespace {

constexpr std::ptrdiff_t float_size = sizeof(float);

/// The last address that a process can have on 64-bit processors.
constexpr std::uintptr_t last_address = std::numeric_limits<std::uintptr_t>::max() >> (sizeof(void*) == 8 ? 8 : 0);

/// A stride and how often it is taken, less one.
struct Dimension {
  const char* name;
  std::ptrdiff_t stride;
  std::ptrdiff_t steps;

  std::size_t magnitude() const noexcept {
    return stride < 0 ? std::size_t{0} - static_cast<std::size_t>(stride) : static_cast<std::size_t>(stride);
  }
};

/// The strides of n states with `count` numbers each.
template <typename Array>
std::array<Dimension, 3> dimensions(const Array& array, std::ptrdiff_t n, int count) {
  const bool tiled = array.tile != 0;
  return {{{"number", array.number, count - 1},
           {"state", array.state, tiled ? std::min(n, tile_size) - 1 : n - 1},
           {"tile", array.tile, tiled ? (n - 1) / tile_size : 0}}};
}

/// Floats begin at multiples of their size, and all of them at addresses that there are.
template <typename Array>
void require_addresses(const Array& array, const char* name, const std::array<Dimension, 3>& dimensions) {
  const auto address = reinterpret_cast<std::uintptr_t>(array.data);
  if (address % sizeof(float) != 0) refuse(KORVEL_BATCH_LAYOUT, name, ": data does not begin at a multiple of 4 bytes");
  std::uintptr_t below = address;
  std::uintptr_t above = last_address - std::min(address, last_address);
  for (const Dimension& d : dimensions) {
    if (d.stride % float_size != 0) {
      refuse(KORVEL_BATCH_LAYOUT, name, ": a stride `", d.name, "` of ", d.stride, " bytes is no multiple of 4");
    }
    std::size_t extent = 0;
    std::uintptr_t& room = d.stride < 0 ? below : above;
    if (__builtin_mul_overflow(d.magnitude(), static_cast<std::size_t>(d.steps), &extent) || extent > room) {
      refuse(KORVEL_BATCH_LAYOUT, name, ": a stride `", d.name, "` of ", d.stride, " bytes, ", d.steps,
             " times, leads out of memory");
    }
    room -= extent;
  }
}

/// Every stride leads over all that those below it reach.
void require_apart(const char* name, std::array<Dimension, 3> dimensions) {
  std::sort(dimensions.begin(), dimensions.end(),
            [](const Dimension& a, const Dimension& b) { return a.magnitude() < b.magnitude(); });
  std::size_t reached = sizeof(float);
  for (const Dimension& d : dimensions) {
    if (d.steps == 0) continue;
    if (d.magnitude() < reached) {
      refuse(KORVEL_BATCH_LAYOUT, name, ": results would overlap by a stride `", d.name, "` of ", d.stride, " bytes");
    }
    reached += d.magnitude() * static_cast<std::size_t>(d.steps);
  }
}

/// Without tiles, those of sixteen states follow each other like the states; of fewer there is only one.
template <typename Numbers, typename Array>
Numbers checked(const Array& array, const char* name, std::ptrdiff_t n, int count, bool is_written) {
  const auto strides = dimensions(array, n, count);
  require_addresses(array, name, strides);
  if (is_written) require_apart(name, strides);
  const std::ptrdiff_t state = array.state / float_size;
  const std::ptrdiff_t of_states = n > tile_size ? tile_size * state : 0;
  return {array.data, state, array.number / float_size, array.tile != 0 ? array.tile / float_size : of_states};
}

}  // namespace

void require_count(std::ptrdiff_t n) {
  if (n < 1) refuse(KORVEL_BATCH_COUNT, "n is ", n, ": there must be at least one state");
  // More than any memory holds: a stride of zero would go on for years.
  constexpr std::int64_t most = std::int64_t{1} << 48;
  if (n > most) refuse(KORVEL_BATCH_COUNT, "n is ", n, ": there may be up to ", most);
}

void require_body(int body) {
  if (body < 0 || body >= body_count) {
    refuse(KORVEL_BATCH_BODY, "no body ", body, ": they are numbered from 0 to ", body_count - 1);
  }
}

Input checked_input(const korvel_batch_input* input, const char* name, std::ptrdiff_t n, int count) {
  require_pointer(input, name);
  if (input->data == nullptr) refuse(KORVEL_BATCH_NULL, name, " has no data");
  return checked<Input>(*input, name, n, count, false);
}

Output checked_output(const korvel_batch_output* output, const char* name, std::ptrdiff_t n, int count) {
  if (output == nullptr || output->data == nullptr) return {};
  return checked<Output>(*output, name, n, count, true);
}

const float* checked_armature(const float* armature) {
  for (int joint = 0; armature != nullptr && joint < coordinate_count - first_joint; ++joint) {
    if (!std::isfinite(armature[joint]) || armature[joint] < 0) {
      refuse(KORVEL_BATCH_VALUE, "armature of joint ", joint, " is negative or not finite");
    }
  }
  return armature;
}

std::vector<Wrench> checked_wrenches(const korvel_batch_wrench* wrenches, std::ptrdiff_t count, std::ptrdiff_t n) {
  if (count < 0) refuse(KORVEL_BATCH_COUNT, "wrench_count is ", count);
  if (count > 0) require_pointer(wrenches, "wrenches");
  std::array<bool, body_count> loaded{};
  std::vector<Wrench> checked;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const auto& [body, values] = wrenches[i];
    require_body(body);
    bool& is_loaded = loaded[static_cast<std::size_t>(body)];
    if (is_loaded) refuse(KORVEL_BATCH_BODY, "body ", body, " has two wrenches");
    is_loaded = true;
    checked.push_back({body, checked_input(&values, "values of a wrench", n, 6)});
  }
  return checked;
}

}  // namespace korvel::batch
