#include "contact/phases.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace korvel::contact {

namespace {

constexpr double forever = std::numeric_limits<double>::infinity();

/// Samples first to last, last included, of the same contact. A sample counts from half the step before to half the
/// step after it; what was before the motion and what comes after it are not known.
struct Span {
  std::size_t first, last;
  double begin, end;  // [s]
};

std::vector<Span> spans_of(const std::vector<double>& time, const std::vector<bool>& contact, bool which) {
  std::vector<Span> spans;
  for (std::size_t s = 0; s < contact.size(); ++s) {
    if (contact[s] != which) continue;
    if (s == 0 || contact[s - 1] != which) spans.push_back({s, s, s == 0 ? -forever : (time[s - 1] + time[s]) / 2, 0});
    spans.back().last = s;
    spans.back().end = s + 1 == time.size() ? forever : (time[s] + time[s + 1]) / 2;
  }
  return spans;
}

/// Spans of one kind that are shorter become the other kind.
void flip_short(const std::vector<double>& time, std::vector<bool>& contact, bool which, double duration) {
  for (const Span& span : spans_of(time, contact, which)) {
    if (span.end - span.begin >= duration) continue;
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
  for (const Span& span : spans_of(time, contact_, true)) {
    for (std::size_t s = span.first; s <= span.last; ++s) {
      share_[s] = smooth_step(std::min(time[s] - span.begin, span.end - time[s]) / ramp);
    }
  }
}

}  // namespace korvel::contact
