#include "motion/csv/printable.h"

#include <gtest/gtest.h>

#include <string>

namespace korvel::host {
namespace {

TEST(Printable, TextStaysAndWhatSteersIsShown) {
  using namespace std::string_literals;
  EXPECT_EQ(printable("naïve Ω 日本 🤖 %s\\x"), "naïve Ω 日本 🤖 %s\\x");
  EXPECT_EQ(printable("\0\n\t\x1b[m\x7f"s), R"(\x00\x0a\x09\x1b[m\x7f)");
  EXPECT_EQ(printable_lines("a\nb\r\n"), "a\nb\\x0d\n");
  // A control character of two bytes, an override of direction, a separator of lines.
  EXPECT_EQ(printable("\xc2\x9b\xe2\x80\xae\xe2\x80\xa8"), R"(\xc2\x9b\xe2\x80\xae\xe2\x80\xa8)");
  // These bytes are not UTF-8: a byte alone, a sequence cut short, one longer than needed, half of a pair, one beyond
  // the last character.
  EXPECT_EQ(printable("\x80|\xe6\x97|\xc0\x8a|\xe0\x80\x8a|\xed\xa0\x80|\xf4\x90\x80\x80"),
            R"(\x80|\xe6\x97|\xc0\x8a|\xe0\x80\x8a|\xed\xa0\x80|\xf4\x90\x80\x80)");
}

TEST(Printable, ShorteningKeepsBothEndsAndWholeCharacters) {
  EXPECT_EQ(shortened("short", 5), "short");
  EXPECT_EQ(shortened("0123456789abcdef", 11), "012 ... def");
  std::string text;
  for (int i = 0; i < 40; ++i) text += "日";
  for (std::size_t most = 20; most < 40; ++most) {
    const std::string cut = shortened(text, most);
    EXPECT_LE(cut.size(), most);
    EXPECT_EQ(printable(cut), cut);
  }
}

}  // namespace
}  // namespace korvel::host
