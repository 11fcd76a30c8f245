#pragma once

/// How the values that cross the interface stand in a record: which numbers, and how many.

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "recording/format.h"
#include "states/robot_size.h"

namespace korvel::recording {

enum class NumberType { none, real, index, integer, text };

constexpr std::size_t bytes_of(NumberType type) {
  return type == NumberType::none ? 0 : type == NumberType::real ? 4 : type == NumberType::text ? 1 : 8;
}

/// Numbers of one type, as many as the robot makes of them.
struct Shape {
  NumberType type = NumberType::none;
  int (*count)(const RobotSize&) = nullptr;

  std::size_t numbers(const RobotSize& size) const {
    return type == NumberType::none ? 0 : static_cast<std::size_t>(count(size));
  }
  std::size_t bytes(const RobotSize& size) const { return numbers(size) * bytes_of(type); }
};

template <int n>
int just(const RobotSize&) {
  return n;
}

inline constexpr int longest_name = 64;
inline constexpr int wrench_numbers = 6;

/// The shape of a C++ type of the interface, and its bytes. `put` returns false if there were too few to be had, or too
/// many to be kept.
template <typename Value>
struct Form {
  static_assert(std::is_trivially_copyable_v<Value> && sizeof(Value) % sizeof(float) == 0);
  static constexpr Shape shape{NumberType::real, just<sizeof(Value) / sizeof(float)>};
  static bool put(char* to, std::size_t, const Value& value) noexcept {
    std::memcpy(to, &value, sizeof(value));
    return true;
  }
  static Value take(const char* from, std::size_t) {
    Value value;
    std::memcpy(&value, from, sizeof(value));
    return value;
  }
};

template <>
struct Form<unsigned long> {
  static_assert(sizeof(unsigned long) == sizeof(std::uint64_t));
  static constexpr Shape shape{NumberType::index, just<1>};
  static bool put(char* to, std::size_t, std::uint64_t value) noexcept {
    std::memcpy(to, &value, sizeof(value));
    return true;
  }
  static unsigned long take(const char* from, std::size_t) {
    std::uint64_t value = 0;
    std::memcpy(&value, from, sizeof(value));
    return value;
  }
};

template <>
struct Form<Eigen::Matrix3f> {
  static constexpr Shape shape{NumberType::real, just<9>};
  static bool put(char* to, std::size_t bytes, const Eigen::Matrix3f& value) noexcept {
    std::memcpy(to, value.data(), bytes);
    return true;
  }
  static Eigen::Matrix3f take(const char* from, std::size_t bytes) {
    Eigen::Matrix3f value;
    std::memcpy(value.data(), from, bytes);
    return value;
  }
};

inline const float* first_of(const tesk::FloatRange& view) { return view.first; }
template <typename Values>
const float* first_of(const Values& values) {
  return values.data();
}

/// Floats of which the first so many count.
template <typename Values>
struct FormOfFirst {
  static bool put(char* to, std::size_t bytes, const Values& values) noexcept {
    const std::size_t given = static_cast<std::size_t>(values.size()) * sizeof(float);
    const std::size_t kept = given < bytes ? given : bytes;
    if (kept > 0) std::memcpy(to, first_of(values), kept);
    if (kept < bytes) std::memset(to + kept, 0, bytes - kept);
    return given >= bytes;
  }
};

template <>
struct Form<tesk::RigidBodySystem::JointValues> : FormOfFirst<tesk::RigidBodySystem::JointValues> {
  static constexpr Shape shape{NumberType::real, [](const RobotSize& size) { return size.joints; }};
  static Eigen::ArrayXf take(const char* from, std::size_t bytes) {
    Eigen::ArrayXf values(static_cast<Eigen::Index>(bytes / sizeof(float)));
    std::memcpy(values.data(), from, bytes);
    return values;
  }
};

template <>
struct Form<std::vector<float>> : FormOfFirst<std::vector<float>> {
  static constexpr Shape shape{NumberType::real, just<wrench_numbers>};
  static std::vector<float> take(const char* from, std::size_t bytes) {
    std::vector<float> values(bytes / sizeof(float));
    std::memcpy(values.data(), from, bytes);
    return values;
  }
};

template <>
struct Form<std::string> {
  static constexpr Shape shape{NumberType::text, just<longest_name>};
  static bool put(char* to, std::size_t bytes, const std::string& value) noexcept {
    const std::size_t kept = value.size() < bytes ? value.size() : bytes;
    std::memcpy(to, value.data(), kept);
    std::memset(to + kept, 0, bytes - kept);
    return value.size() <= bytes && value.find('\0') == std::string::npos;
  }
  static std::string take(const char* from, std::size_t bytes) { return {from, strnlen(from, bytes)}; }
};

// Results alone.

template <>
struct Form<tesk::FloatRange> : FormOfFirst<tesk::FloatRange> {
  static constexpr Shape shape{NumberType::real, [](const RobotSize& size) { return size.joints; }};
};

template <>
struct Form<Eigen::MatrixXf> : FormOfFirst<Eigen::MatrixXf> {
  static constexpr Shape shape{NumberType::real,
                               [](const RobotSize& size) { return size.coordinates() * size.coordinates(); }};
};

template <>
struct Form<tesk::RigidBodySystem::Jacobian> : FormOfFirst<tesk::RigidBodySystem::Jacobian> {
  static constexpr Shape shape{NumberType::real, [](const RobotSize& size) { return 6 * size.coordinates(); }};
};

template <>
struct Form<tesk::RigidBodySystem::ComJacobian> : FormOfFirst<tesk::RigidBodySystem::ComJacobian> {
  static constexpr Shape shape{NumberType::real, [](const RobotSize& size) { return 3 * size.coordinates(); }};
};

template <>
struct Form<tesk::RigidBodySystem::TopologyVector> {
  static constexpr Shape shape{NumberType::integer, [](const RobotSize& size) { return size.bodies; }};
  static bool put(char* to, std::size_t bytes, const tesk::RigidBodySystem::TopologyVector& values) noexcept {
    const std::size_t given = values.size() * sizeof(std::int64_t);
    std::memset(to, 0, bytes);
    std::memcpy(to, values.data(), given < bytes ? given : bytes);
    return given == bytes;
  }
};

template <>
struct Form<void> {
  static constexpr Shape shape{};
};

template <typename Type>
using FormOf = Form<std::remove_cv_t<std::remove_reference_t<Type>>>;

}  // namespace korvel::recording
