#include "motion/csv/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace korvel::host {

namespace {

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; }

/// Bytes of the character at the front of `text`; 0 if it is not UTF-8 or may not be shown.
std::size_t shown_length(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return first >= ' ' && first != 0x7F ? 1 : 0;
  const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (length == 0 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), continues)) return 0;
  std::uint32_t code = first & (0x7FU >> length);
  for (const char c : text.substr(1, length - 1)) code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
  constexpr std::uint32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto within = [code](std::uint32_t low, std::uint32_t high) { return code >= low && code <= high; };
  const bool is_character = code >= shortest[length] && code <= 0x10FFFF && !within(0xD800, 0xDFFF);
  // C1 controls; marks, embeddings and isolates of direction; separators of lines and paragraphs.
  const bool steers =
      within(0x80, 0x9F) || code == 0x61C || within(0x200E, 0x200F) || within(0x2028, 0x202E) || within(0x2066, 0x2069);
  return is_character && !steers ? length : 0;
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
  while (front > 0 && continues(text[front])) --front;
  while (back < text.size() && continues(text[back])) ++back;
  return text.substr(0, front).append(gap).append(text, back);
}

}  // namespace korvel::host
