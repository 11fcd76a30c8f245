#include <cmath>
#include <cstdio>

#include "record/recorder.h"

namespace korvel::record {

namespace {

using recording::OperationEntry;
using recording::Shape;

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += static_cast<unsigned char>(c) < ' ' ? '?' : c;
  }
  return result + '"';
}

/// Nine digits give the float back. JSON knows finite numbers alone.
std::string number(float value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  std::snprintf(text, sizeof(text), "%.9g", static_cast<double>(value));
  return text;
}

template <typename Each>
std::string list(std::size_t count, const Each& each) {
  std::string result = "[";
  for (std::size_t i = 0; i < count; ++i) result += (i == 0 ? "" : ",") + each(i);
  return result + ']';
}

std::string shape(const std::string& type, std::size_t numbers) {
  return "[\"" + type + "\"," + std::to_string(numbers) + ']';
}
std::string of(const Shape& s, const RobotSize& size) { return shape(recording::in_words(s.type), s.numbers(size)); }

std::string of(const OperationEntry& e, const RobotSize& size) {
  std::size_t count = 0;
  while (count < e.arguments.size() && e.arguments[count].type != recording::NumberType::none) ++count;
  std::string text = "{\"name\":" + quoted(e.name) +
                     ",\"arguments\":" + list(count, [&](std::size_t i) { return of(e.arguments[i], size); });
  if (e.result_numbers(size) > 0) {
    text += ",\"result\":" + shape(recording::in_words(e.result_type()), e.result_numbers(size));
  }
  return text + '}';
}

}  // namespace

std::string description(const RealModule& module, tesk::RigidBodySystem& robot) {
  const RobotSize size(robot);
  const auto bodies = static_cast<std::size_t>(size.bodies);
  char contract[24];
  std::snprintf(contract, sizeof(contract), "%016llx", static_cast<unsigned long long>(recording::contract_hash(size)));
  std::string text = "{\"module\":{\"path\":" + quoted(module.path()) + ",\"version\":" + quoted(module.version()) +
                     ",\"build_id\":" + quoted(module.build_id()) + "},\n";
  text += "\"contract\":\"" + std::string(contract) +
          "\",\n\"volatile_frames\":" + std::to_string(size.volatile_frames) +
          ",\n\"bodies\":" + list(bodies, [&](std::size_t b) { return quoted(robot.getBodyName(b)); }) +
          ",\n\"joints\":" + list(bodies - 1, [&](std::size_t j) { return quoted(robot.getJointAngleName(j)); }) +
          ",\n\"masses\":" + list(bodies, [&](std::size_t b) { return number(robot.getMass(b)); }) + ",\n";
  // The poses of a new object are the identity.
  text += "\"centres_of_mass\":" + list(bodies, [&](std::size_t b) {
            const QZ::Math::Position3D com = robot.getComPosition(b);
            return '[' + number(com.x) + ',' + number(com.y) + ',' + number(com.z) + ']';
          });
  text += ",\n\"operations\":" + list(recording::operation_count,
                                      [&](std::size_t i) { return "\n" + of(recording::all_operations()[i], size); });
  return text + "}\n";
}

}  // namespace korvel::record
