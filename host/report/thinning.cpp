#include "host/report/thinning.h"

#include <algorithm>
#include <utility>

namespace korvel::host {

namespace {

/// The lowest and highest values of a kept sample come to hold for these too.
void extend(KeptSample& kept, const std::vector<float>& lows, const std::vector<float>& highs) {
  for (std::size_t c = 0; c < kept.lows.size(); ++c) {
    kept.lows[c] = std::min(kept.lows[c], lows[c]);
    kept.highs[c] = std::max(kept.highs[c], highs[c]);
  }
}

}  // namespace

KeptSample Thinning::make(std::size_t number, double elapsed, const std::vector<float>& values) const {
  const std::vector<float> curves(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(lowest_.size()));
  return {number, elapsed, values, curves, curves};
}

void Thinning::add(const ResultsSample& sample) {
  // Made only if a curve needs it, once for all of them.
  std::shared_ptr<const KeptSample> extreme;
  const auto keep = [&](std::shared_ptr<const KeptSample>& place) {
    if (!extreme) extreme = std::make_shared<const KeptSample>(make(count_, sample.elapsed, sample.values));
    place = extreme;
  };
  for (std::size_t c = 0; c < lowest_.size(); ++c) {
    if (!lowest_[c] || sample.values[c] < lowest_[c]->values[c]) keep(lowest_[c]);
    if (!highest_[c] || sample.values[c] > highest_[c]->values[c]) keep(highest_[c]);
  }
  if (count_ % stride_ == 0) {
    regular_.push_back(make(count_, sample.elapsed, sample.values));
    if (regular_.size() > most_) halve();
  } else {
    extend(regular_.back(), sample.values, sample.values);
  }
  last_elapsed_ = sample.elapsed;
  last_values_ = sample.values;
  ++count_;
}

void Thinning::halve() {
  std::size_t half = 0;
  for (std::size_t i = 0; i < regular_.size(); ++i) {
    if (i % 2 == 1) {
      extend(regular_[half - 1], regular_[i].lows, regular_[i].highs);
    } else {
      if (half != i) regular_[half] = std::move(regular_[i]);
      ++half;
    }
  }
  regular_.resize(half);
  stride_ *= 2;
}

std::vector<KeptSample> Thinning::kept() const {
  std::vector<KeptSample> all = regular_;
  for (const auto* extremes : {&lowest_, &highest_}) {
    for (const auto& extreme : *extremes) all.push_back(*extreme);
  }
  if (count_ > 0) all.push_back(make(count_ - 1, last_elapsed_, last_values_));
  // Of the same sample the regular one comes first, which speaks for those behind it too.
  std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.number < b.number; });
  all.erase(std::unique(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.number == b.number; }),
            all.end());
  return all;
}

}  // namespace korvel::host
