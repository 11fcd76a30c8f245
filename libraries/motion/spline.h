#pragma once

#include <Eigen/Core>
#include <Eigen/SparseCholesky>

namespace korvel::host {

/// Quantities over time, a row for each sample and a column for each quantity, with first and second derivatives.
struct Curves {
  Eigen::ArrayXXd value, first, second;
};

/// The penalised cubic spline of samples y_i at times t_i: of all cubic splines g, twice continuously differentiable,
/// the one that minimises
///     sum w_i (y_i - g(t_i))^2 + penalty * integral g''(t)^2 dt,
/// w_i being the time between the samples around t_i, halved. Without a penalty it goes through the samples.
///
/// On samples that are close together it passes a sinusoid of frequency f with 1 / (1 + penalty (2 pi f)^4) of its
/// amplitude, so that a penalty is best given by the frequency whose power is halved.
///
/// Ends     g'' is constant in the first and in the last interval, and each counts half in the integral. So polynomials
///          up to degree one pass unchanged, without a penalty up to degree two; two samples give a straight line, one
///          is at rest. Second derivatives are worst in the first and last samples, where the spline leans on one side
///          only.
/// Method   g'' at the inner samples from one banded system, symmetric and positive definite, for all quantities.
/// Cost     linear in the number of samples.
/// Source   C. H. Reinsch, Smoothing by spline functions, 1967; P. J. Green, B. W. Silverman, Nonparametric Regression
///          and Generalized Linear Models, 1994, section 2.3; H. J. Woltring, A Fortran package for generalized,
///          cross-validatory spline smoothing and differentiation, 1986.
class Spline {
 public:
  /// `time` [s] is increasing, at least one; penalty [s^4] is not negative.
  explicit Spline(const Eigen::ArrayXd& time, double penalty = 0);

  /// False where the steps differ so much that double precision does not define the spline.
  bool is_defined() const { return is_defined_; }

  /// The splines of the columns, which have one value per sample. The spline is defined.
  Curves through(const Eigen::ArrayXXd& values) const;

 private:
  using Banded = Eigen::SparseMatrix<double>;

  bool is_defined_ = true;
  Eigen::ArrayXd steps_;    // between samples
  Eigen::ArrayXd weights_;  // penalty / w_i
  Banded differences_;      // Q^T: rates of change of the slope from the values
  Eigen::SimplicialLDLT<Banded, Eigen::Lower, Eigen::NaturalOrdering<int>> system_;
};

/// Samples beyond this number of samples and this time [s] influence a spline by less than a double can hold. Without a
/// penalty the influence falls by half and more from sample to sample, whatever the steps, because the system is
/// diagonally dominant; with one it falls as the solutions of g + penalty d^4 g / dt^4 = 0 do.
constexpr Eigen::Index reach_in_samples = 64;
double reach(double penalty);

/// The penalty [s^4] that halves the power of a sinusoid of this frequency [Hz], and back.
double penalty_of_cutoff(double frequency);
double cutoff_of_penalty(double penalty);

}  // namespace korvel::host
