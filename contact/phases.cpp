#include "contact/phases.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace korvel::contact {

namespace {

constexpr double forever = std::numeric_limits<double>::infinity();

/// Samples first to last, last included, of the same contact.
struct Span {
  std::size_t first, last;
};

std::vector<Span> spans_of(const std::vector<bool>& contact, bool which) {
  std::vector<Span> spans;
  for (std::size_t s = 0; s < contact.size(); ++s) {
    if (contact[s] != which) continue;
    if (s > 0 && contact[s - 1] == which) {
      spans.back().last = s;
    } else {
      spans.push_back({s, s});
    }
  }
  return spans;
}

double begin_of(const std::vector<double>& time, const Span& span) {
  return span.first == 0 ? -forever : (time[span.first - 1] + time[span.first]) / 2;
}

double end_of(const std::vector<double>& time, const Span& span) {
  return span.last + 1 == time.size() ? forever : (time[span.last] + time[span.last + 1]) / 2;
}

/// Spans of one kind that are shorter become the other kind.
void flip_short(const std::vector<double>& time, std::vector<bool>& contact, bool which, double duration) {
  for (const Span& span : spans_of(contact, which)) {
    if (end_of(time, span) - begin_of(time, span) >= duration) continue;
    for (std::size_t s = span.first; s <= span.last; ++s) contact[s] = !which;
  }
}

double smooth_step(double x) {
  const double s = std::clamp(x, 0.0, 1.0);
  return s * s * (3 - 2 * s);
}

}  // namespace

ContactPhases ContactPhases::detected(const std::vector<double>& time, std::vector<bool> near_ground, double duration) {
  flip_short(time, near_ground, false, duration);
  flip_short(time, near_ground, true, duration);
  return {time, std::move(near_ground)};
}

ContactPhases ContactPhases::given(const std::vector<double>& time, std::vector<bool> contact) {
  return {time, std::move(contact)};
}

ContactPhases::ContactPhases(const std::vector<double>& time, std::vector<bool> contact)
    : contact_(std::move(contact)), share_(contact_.size(), 0.0) {
  for (const Span& span : spans_of(contact_, true)) {
    const double touchdown = begin_of(time, span);
    const double lift_off = end_of(time, span);
    for (std::size_t s = span.first; s <= span.last; ++s) {
      share_[s] = smooth_step(std::min(time[s] - touchdown, lift_off - time[s]) / ramp);
    }
  }
}

}  // namespace korvel::contact
