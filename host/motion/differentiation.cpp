#include "host/motion/differentiation.h"

#include <libalglib/interpolation.h>

namespace korvel::host {

namespace {

alglib::real_1d_array to_alglib(const Eigen::ArrayXd& values) {
  alglib::real_1d_array result;
  result.setcontent(values.size(), values.data());
  return result;
}

Eigen::ArrayXd from_alglib(const alglib::real_1d_array& values) {
  return Eigen::Map<const Eigen::ArrayXd>(values.getcontent(), values.length());
}

}  // namespace

std::optional<Derivatives> differentiate(const Eigen::ArrayXd& time, const Eigen::ArrayXd& values) {
  if (time.size() < 2) return Derivatives{Eigen::ArrayXd::Zero(time.size()), Eigen::ArrayXd::Zero(time.size())};
  alglib::real_1d_array first;
  alglib::real_1d_array second;
  try {
    alglib::spline1dgriddiff2cubic(to_alglib(time), to_alglib(values), first, second);
  } catch (const alglib::ap_error&) {
    return std::nullopt;
  }
  return Derivatives{from_alglib(first), from_alglib(second)};
}

}  // namespace korvel::host
