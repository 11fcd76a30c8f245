#include "contact/phases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace korvel::contact {
namespace {

std::vector<double> times(std::size_t count, double step) {
  std::vector<double> time(count);
  for (std::size_t i = 0; i < count; ++i) time[i] = static_cast<double>(i) * step;
  return time;
}

std::vector<bool> flags(const std::string& text) {
  std::vector<bool> result(text.size());
  std::transform(text.begin(), text.end(), result.begin(), [](char c) { return c == '#'; });
  return result;
}

std::string text(const std::vector<bool>& contact) {
  std::string result;
  for (const bool c : contact) result += c ? '#' : '.';
  return result;
}

// A sample counts for 10 ms at 100 Hz.
TEST(Phases, ShortGapsAreClosedThenShortContactsDropped) {
  const std::pair<const char*, const char*> cases[] = {
      {"##########", "##########"},
      {"..........", ".........."},
      {"#####....#####", "##############"},    // 40 ms
      {"#####.....#####", "#####.....#####"},  // 50 ms
      {".....####.....", ".............."},
      {".....#####.....", ".....#####....."},
      {".....##..##.....", ".....######....."},  // closed first, and then long enough
      {"#.........", "#........."},              // nobody knows how long before
      {".........#", ".........#"},
      {".#########", ".#########"},  // nor after
  };
  for (const auto& [seen, expected] : cases) {
    const std::vector<bool> near = flags(seen);
    EXPECT_EQ(text(steadied(times(near.size(), 0.01), near, 0.05)), expected) << seen;
  }
}

TEST(Phases, SlowSamplingKeepsAContactOfOneSample) {
  EXPECT_EQ(text(steadied(times(3, 0.1), flags(".#."), 0.05)), ".#.");
}

TEST(Phases, ShareRisesSmoothlyAfterTouchdownAndFallsBeforeLiftOff) {
  const std::string seen = std::string(10, '.') + std::string(50, '#') + std::string(10, '.');
  const std::vector<double> shares = contact_shares(times(seen.size(), 0.01), flags(seen));
  EXPECT_EQ(shares[9], 0);
  EXPECT_EQ(shares[60], 0);
  for (std::size_t i = 10; i < 35; ++i) {
    EXPECT_GE(shares[i], shares[i - 1]) << i;
    EXPECT_LT(shares[i] - shares[i - 1], 0.16) << i;
    EXPECT_NEAR(shares[i], shares[69 - i], 1e-12) << i;
  }
  EXPECT_LT(shares[10], 0.01);
  EXPECT_EQ(shares[20], 1);
  // The contact before the first sample and after the last one is unknown.
  const std::vector<double> open = contact_shares(times(5, 0.01), flags("#####"));
  EXPECT_EQ(open[0], 1);
  EXPECT_EQ(open[4], 1);
}

}  // namespace
}  // namespace korvel::contact
