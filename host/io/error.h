#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

namespace korvel::host {

/// What the user gave cannot be used: a module, a motion, a results file. The text is one line for that user; control
/// characters of quoted input become blanks.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& text) : std::runtime_error(one_line(text)) {}

 private:
  static std::string one_line(std::string text) {
    const auto is_control = [](char c) { return (c >= '\0' && c < ' ') || c == '\x7f'; };
    std::replace_if(text.begin(), text.end(), is_control, ' ');
    return text;
  }
};

}  // namespace korvel::host
