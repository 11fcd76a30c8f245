#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "host/results/results_sample.h"

namespace korvel::host {

/// A sample that is kept. Of the first columns, the curves, also the lowest and highest value from here to before the
/// next that is kept.
struct KeptSample {
  std::size_t number;  ///< in the file, from 0
  double elapsed;      ///< since the first sample [s]
  std::vector<float> values;
  std::vector<float> lows, highs;
};

/// Keeps few of a file's samples, in memory that does not grow with the file: all if there are at most `most`, or else
/// every second, fourth, eighth and so on. In any case the last one, and of each curve the first of its lowest and the
/// first of its highest samples: peaks are exact.
class Thinning {
 public:
  Thinning(std::size_t curves, std::size_t most) : most_(most), lowest_(curves), highest_(curves) {}

  /// Takes the next sample; its values start with those of the curves.
  void add(const ResultsSample& sample);

  /// How many have been added.
  std::size_t count() const { return count_; }
  /// Every how many are kept.
  std::size_t stride() const { return stride_; }
  /// What is kept, in the order of the file.
  std::vector<KeptSample> kept() const;

 private:
  KeptSample make(std::size_t number, double elapsed, const std::vector<float>& values) const;
  /// Keeps every second of the regular ones.
  void halve();

  std::size_t most_;
  std::size_t count_ = 0;
  std::size_t stride_ = 1;
  std::vector<KeptSample> regular_;
  /// Of each curve; of several curves it may be the same sample.
  std::vector<std::shared_ptr<const KeptSample>> lowest_, highest_;
  double last_elapsed_ = 0;
  std::vector<float> last_values_;
};

}  // namespace korvel::host
