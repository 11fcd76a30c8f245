#pragma once

#include <Eigen/Core>
#include <optional>

namespace korvel::host {

/// First and second time derivatives of a sampled quantity, one value per sample.
struct Derivatives {
  Eigen::ArrayXd first;
  Eigen::ArrayXd second;
};

/// Derivatives, at the samples, of the cubic spline through them: twice continuously differentiable, with a constant
/// second derivative in the first and in the last interval. Exact for polynomials up to degree two; two samples give
/// a straight line, a single one is at rest.
/// `time` is increasing and has as many values as `values`.
/// Nothing if two times are too close to be told apart.
std::optional<Derivatives> differentiate(const Eigen::ArrayXd& time, const Eigen::ArrayXd& values);

}  // namespace korvel::host
