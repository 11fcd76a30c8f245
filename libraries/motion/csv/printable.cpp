#include "motion/csv/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <cstdint>
#include <iterator>

namespace korvel::host {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;

/// Bytes of the character at the front of `text`; 0 if it is not UTF-8 or may not be shown.
std::size_t shown_length(std::string_view text) {
  auto end = text.begin();
  const boost::locale::utf::code_point code = Utf8::decode(end, text.end());
  const auto within = [code](std::uint32_t low, std::uint32_t high) { return code >= low && code <= high; };
  // C0 and C1 controls; marks, embeddings and isolates of direction; separators of lines and paragraphs.
  const bool steers = within(0, 0x1F) || within(0x7F, 0x9F) || code == 0x61C || within(0x200E, 0x200F) ||
                      within(0x2028, 0x202E) || within(0x2066, 0x2069);
  return steers || !boost::locale::utf::is_valid_codepoint(code) ? 0 : static_cast<std::size_t>(end - text.begin());
}

std::string shown(std::string_view text, bool keep_line_ends) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = keep_line_ends && text.front() == '\n' ? 1 : shown_length(text);
    if (length > 0) {
      result += text.substr(0, length);
    } else {
      fmt::format_to(std::back_inserter(result), "\\x{:02x}", static_cast<unsigned char>(text.front()));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

}  // namespace

std::string printable(std::string_view text) { return shown(text, false); }
std::string printable_lines(std::string_view text) { return shown(text, true); }

std::string counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string shortened(const std::string& text, std::size_t most) {
  constexpr std::string_view gap = " ... ";
  if (text.size() <= most) return text;
  std::size_t front = (most - gap.size()) / 2;
  std::size_t back = text.size() - (most - gap.size() - front);
  while (front > 0 && Utf8::is_trail(text[front])) --front;
  while (back < text.size() && Utf8::is_trail(text[back])) ++back;
  return text.substr(0, front).append(gap).append(text, back);
}

}  // namespace korvel::host
