#include "host/report/thinning.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace korvel::host {

namespace {

/// The lowest and highest values of a kept sample come to hold for another one, too.
void extend(KeptSample& kept, const KeptSample& other) {
  for (std::size_t c = 0; c < kept.lows.size(); ++c) {
    // A gap is NaN and has no extremes; fmin and fmax ignore it.
    kept.lows[c] = std::fmin(kept.lows[c], other.lows[c]);
    kept.highs[c] = std::fmax(kept.highs[c], other.highs[c]);
  }
}

}  // namespace

void Thinning::add(double elapsed, const std::vector<float>& values) {
  const std::vector<float> curves(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(lowest_.size()));
  last_ = std::make_shared<const KeptSample>(KeptSample{count_, elapsed, values, curves, curves});
  for (std::size_t c = 0; c < curves.size(); ++c) {
    if (std::isnan(values[c])) continue;
    if (!lowest_[c] || values[c] < lowest_[c]->values[c]) lowest_[c] = last_;
    if (!highest_[c] || values[c] > highest_[c]->values[c]) highest_[c] = last_;
  }
  if (count_ % stride_ == 0) {
    regular_.push_back(*last_);
    if (regular_.size() > most_) halve();
  } else {
    extend(regular_.back(), *last_);
  }
  ++count_;
}

void Thinning::halve() {
  const std::size_t half = (regular_.size() + 1) / 2;
  for (std::size_t i = 0; i < half; ++i) {
    if (2 * i + 1 < regular_.size()) extend(regular_[2 * i], regular_[2 * i + 1]);
    if (i > 0) regular_[i] = std::move(regular_[2 * i]);
  }
  regular_.resize(half);
  stride_ *= 2;
}

std::vector<KeptSample> Thinning::kept() const {
  std::vector<KeptSample> all = regular_;
  for (const auto* extremes : {&lowest_, &highest_}) {
    for (const auto& extreme : *extremes) {
      if (extreme) all.push_back(*extreme);
    }
  }
  if (last_) all.push_back(*last_);
  // If a sample is kept twice, the regular one comes first: its extremes cover the samples behind it.
  std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.number < b.number; });
  all.erase(std::unique(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.number == b.number; }),
            all.end());
  return all;
}

}  // namespace korvel::host
