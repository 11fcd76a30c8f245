#pragma once

/// The representation of the interface's values in a record: which numbers, and how many.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "contract/robot_size.h"
#include "recorder/format/format.h"

namespace korvel::recording {

static_assert(sizeof(unsigned long) == sizeof(std::uint64_t), "indices have 64 bits in a record");

enum class NumberType { none, real, index, integer, text };

constexpr std::size_t bytes_of(NumberType type) {
  return type == NumberType::none ? 0 : type == NumberType::real ? 4 : type == NumberType::text ? 1 : 8;
}

/// Numbers of one type, as many as the robot makes of them.
struct Shape {
  NumberType type = NumberType::none;
  Count count = nullptr;

  std::size_t numbers(const RobotSize& size) const {
    return type == NumberType::none ? 0 : static_cast<std::size_t>(count(size));
  }
  std::size_t bytes(const RobotSize& size) const { return numbers(size) * bytes_of(type); }
};

inline constexpr int longest_name = 64;
inline constexpr int wrench_numbers = 6;

template <typename Value>
constexpr Shape shape_of_floats() {
  constexpr int numbers = sizeof(Value) / sizeof(float);
  static_assert(!std::is_integral_v<Value> && numbers * sizeof(float) == sizeof(Value), "expected a struct of floats");
  return {NumberType::real, just<numbers>};
}

/// The shape of a C++ type of the interface: a struct of floats, unless it is one of those below.
template <typename Value>
inline constexpr Shape shape_of = shape_of_floats<Value>();
template <>
inline constexpr Shape shape_of<void>{};
template <>
inline constexpr Shape shape_of<unsigned long>{NumberType::index, just<1>};
template <>
inline constexpr Shape shape_of<std::string>{NumberType::text, just<longest_name>};
template <>
inline constexpr Shape shape_of<std::vector<float>>{NumberType::real, just<wrench_numbers>};
template <>
inline constexpr Shape shape_of<tesk::FloatRange>{NumberType::real, joint_count};
template <>
inline constexpr Shape shape_of<tesk::RigidBodySystem::JointValues>{NumberType::real, joint_count};
template <>
inline constexpr Shape shape_of<tesk::RigidBodySystem::Jacobian>{NumberType::real, coordinate_count<6>};
template <>
inline constexpr Shape shape_of<tesk::RigidBodySystem::ComJacobian>{NumberType::real, coordinate_count<3>};
template <>
inline constexpr Shape shape_of<Eigen::MatrixXf>{
    NumberType::real, [](const RobotSize& size) { return size.coordinates() * size.coordinates(); }};
template <>
inline constexpr Shape shape_of<tesk::RigidBodySystem::TopologyVector>{NumberType::integer, body_count};

/// Writes a value as a record has it, filled up with zeros. Returns false if it has too few numbers, or is a name that
/// a record cannot hold.
template <typename Value>
bool put(char* to, std::size_t capacity, const Value& value) noexcept {
  const std::string_view bytes = bytes_in(value);
  const std::size_t kept = std::min(bytes.size(), capacity);
  if (kept > 0) std::memcpy(to, bytes.data(), kept);
  if (kept < capacity) std::memset(to + kept, 0, capacity - kept);
  if constexpr (std::is_same_v<Value, std::string>) {
    return bytes.size() <= capacity && bytes.find('\0') == std::string_view::npos;
  } else if constexpr (std::is_same_v<Value, tesk::RigidBodySystem::TopologyVector>) {
    return bytes.size() == capacity;
  } else {
    return bytes.size() >= capacity;
  }
}

/// Returns an argument from its bytes in a record, which the returned value may refer to.
template <typename Value>
auto take(const char* from, std::size_t bytes) {
  [[maybe_unused]] const auto* floats = reinterpret_cast<const float*>(from);
  [[maybe_unused]] const std::size_t count = bytes / sizeof(float);
  if constexpr (std::is_same_v<Value, tesk::RigidBodySystem::JointValues>) {
    return Eigen::Map<const Eigen::ArrayXf>(floats, static_cast<Eigen::Index>(count));
  } else if constexpr (std::is_same_v<Value, std::vector<float>>) {
    return std::vector<float>(floats, floats + count);
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return std::string(from, strnlen(from, bytes));
  } else {
    Value value;
    std::memcpy(static_cast<void*>(&value), from, sizeof(value));
    return value;
  }
}

}  // namespace korvel::recording
