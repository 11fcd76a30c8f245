#include <array>
#include <boost/locale/utf.hpp>
#include <charconv>
#include <cmath>
#include <string_view>

#include "recorder/module/recorder.h"

namespace korvel::record {

namespace {

/// The text as JSON. A byte that is not UTF-8 becomes the four characters `\xff`.
std::string quoted(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    auto end = text.begin();
    const auto character = boost::locale::utf::utf_traits<char>::decode(end, text.end());
    const bool is_utf8 = boost::locale::utf::is_valid_codepoint(character);
    const std::size_t length = is_utf8 ? static_cast<std::size_t>(end - text.begin()) : 1;
    const auto first = static_cast<unsigned char>(text.front());
    if (!is_utf8) {
      result += "\\\\x" + hexadecimal(first, 2);
    } else if (first < ' ') {
      result += "\\u" + hexadecimal(first, 4);
    } else {
      if (first == '"' || first == '\\') result += '\\';
      result += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return result + '"';
}

/// The shortest text that gives the float back, whatever the locale of the host is. JSON knows finite numbers only.
std::string number(float value) {
  if (!std::isfinite(value)) return "null";
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

template <typename Each>
std::string list(std::size_t count, const Each& each) {
  std::string result = "[";
  for (std::size_t i = 0; i < count; ++i) result += (i == 0 ? "" : ",") + each(i);
  return result + ']';
}

}  // namespace

std::string description(const RealModule& module, tesk::RigidBodySystem& robot) {
  const RobotSize size(robot);
  const auto bodies = static_cast<std::size_t>(size.bodies);
  std::string text = "{\"module\":{\"path\":" + quoted(module.path()) + ",\"version\":" + quoted(module.version()) +
                     ",\"build_id\":" + quoted(module.build_id()) + "},\n";
  text += "\"volatile_frames\":" + std::to_string(size.volatile_frames) +
          ",\n\"bodies\":" + list(bodies, [&](std::size_t b) { return quoted(robot.getBodyName(b)); }) +
          ",\n\"joints\":" + list(bodies - 1, [&](std::size_t j) { return quoted(robot.getJointAngleName(j)); }) +
          ",\n\"masses\":" + list(bodies, [&](std::size_t b) { return number(robot.getMass(b)); }) + ",\n";
  // The poses of a new object are the identity.
  text += "\"centres_of_mass\":" + list(bodies, [&](std::size_t b) {
            const QZ::Math::Position3D com = robot.getComPosition(b);
            return '[' + number(com.x) + ',' + number(com.y) + ',' + number(com.z) + ']';
          });
  text += ",\n\"operations\":" + list(operation_count, [&](std::size_t i) {
            return '\n' + recording::description(recording::all_operations[i], size);
          });
  return text + "}\n";
}

}  // namespace korvel::record
