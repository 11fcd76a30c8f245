#pragma once

#include <cstddef>
#include <memory>
#include <vector>

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

  /// Takes the next sample, at a time since the first one [s]; its values start with those of the curves.
  void add(double elapsed, const std::vector<float>& values);

  /// Returns the number of samples that have been added.
  std::size_t count() const { return count_; }
  /// Every how many are kept.
  std::size_t stride() const { return stride_; }
  /// The samples that are kept, in the order of the file.
  std::vector<KeptSample> kept() const;

 private:
  /// Keeps every second of the regular ones.
  void halve();

  std::size_t most_;
  std::size_t count_ = 0;
  std::size_t stride_ = 1;
  std::vector<KeptSample> regular_;
  /// Extreme samples of each curve; several curves may share one.
  std::vector<std::shared_ptr<const KeptSample>> lowest_, highest_;
  std::shared_ptr<const KeptSample> last_;
};

}  // namespace korvel::host
