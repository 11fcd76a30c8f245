#include "contact/phases.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace korvel::contact {

namespace {

/// Samples first to end - 1 of the same contact. A sample counts from half the step before to half the step after it;
/// the contacts before the motion and after it are unknown.
struct Span {
  std::size_t first, end;
  double from, to;  // [s]
};

std::vector<Span> spans_of(const std::vector<double>& time, const std::vector<bool>& contact, bool which) {
  constexpr double forever = std::numeric_limits<double>::infinity();
  std::vector<Span> spans;
  for (std::size_t s = 0; s < contact.size(); ++s) {
    if (contact[s] != which) continue;
    if (s == 0 || contact[s - 1] != which) spans.push_back({s, s, s == 0 ? -forever : (time[s - 1] + time[s]) / 2, 0});
    spans.back().end = s + 1;
    spans.back().to = s + 1 == time.size() ? forever : (time[s] + time[s + 1]) / 2;
  }
  return spans;
}

}  // namespace

std::vector<bool> steadied(const std::vector<double>& time, std::vector<bool> contact, double duration) {
  for (const bool which : {false, true}) {
    for (const auto& [first, end, from, to] : spans_of(time, contact, which)) {
      if (to - from < duration) std::fill_n(contact.begin() + static_cast<std::ptrdiff_t>(first), end - first, !which);
    }
  }
  return contact;
}

std::vector<double> contact_shares(const std::vector<double>& time, const std::vector<bool>& contact) {
  constexpr double ramp = 0.1;  // [s]
  std::vector<double> shares(contact.size());
  for (const auto& [first, end, from, to] : spans_of(time, contact, true)) {
    for (std::size_t s = first; s < end; ++s) {
      const double x = std::min(std::min(time[s] - from, to - time[s]) / ramp, 1.0);
      shares[s] = x * x * (3 - 2 * x);
    }
  }
  return shares;
}

}  // namespace korvel::contact
