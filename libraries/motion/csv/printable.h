#pragma once

#include <string>
#include <string_view>

namespace korvel::host {

/// Text of others on a line of our own: what would steer a terminal or end the line stands as `\x1b`. That are control
/// characters, what turns the direction of writing, and bytes that are not UTF-8.
std::string printable(std::string_view text);

/// The same for several lines: line ends stay.
std::string printable_lines(std::string_view text);

/// "1 sample", "2 samples".
std::string counted(std::size_t count, std::string_view noun);

/// Leaves out of the middle what is more than `most` bytes.
std::string shortened(const std::string& text, std::size_t most);

}  // namespace korvel::host
