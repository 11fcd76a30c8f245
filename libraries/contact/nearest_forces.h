#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "contact/force_iteration.h"

namespace korvel::contact {

/// A load in each lane, in units of the weight and of moment_length and about one point, and the points that have to
/// bear it. Lanes that are not finite get forces that are NaN.
template <typename Number>
struct Loads {
  void set(const WrenchT<Number>& load) noexcept {
    size = square_root(dot(load, load));
    unit = Number(1) / select(size > Number(0), size, Number(1)) * load;
  }
  /// The part of the load that the forces do not give, by its length.
  Number residual() const noexcept {
    WrenchT<Number> missing = unit;
    for (const LoadedPoint<Number>& point : points) missing = missing - wrench_of(point.arm, point.force);
    return size * square_root(dot(missing, missing));
  }

  WrenchT<Number> unit{};                   ///< the load by its length
  Number size{};                            ///< its length
  std::vector<LoadedPoint<Number>> points;  ///< with the forces for the unit load
};

/// Distributes loads over points, each force within the friction cone of its point: of all forces that give the load,
/// those with the least sum of |f_i|^2 / compliance_i. How a load that several points could bear is split is a choice;
/// this one changes continuously with the load and puts it evenly where the compliances are even.
///
/// With A_i the map from a force at point i to its wrench and eps = 1e-10 they minimise
///
///   |sum_i A_i f_i - w|^2 + eps sum_i |f_i|^2 / compliance_i
///
/// over forces in their cones. The cones are round: nothing depends on a direction in the ground. Where the ground
/// cannot bear w, the forces are the nearest that it can. With compliances of less than `least_compliance` they are no
/// longer found with certainty.
///
/// ForceIteration finds them in one step if all are within their cones, and mostly in about ten otherwise. About one
/// hard load in fifty needs smaller steps. The forces of a million hard loads, with frictions up to 1, met Moreau's
/// conditions for the nearest within 2e-7 of w. Larger frictions have loads whose forces are not found so exactly: they
/// are the nearest of all schedules.
///
/// Source  L. Qi, J. Sun, A nonsmooth version of Newton's method, 1993; for the conditions J. J. Moreau, a cone and its
///         polar, 1962
template <typename Number>
class NearestForces {
 public:
  /// Finds forces at points with these coefficients of friction.
  explicit NearestForces(const std::vector<double>& frictions) : first_(frictions), rest_(frictions) {}

  /// Writes the forces of the points of all loads.
  void find(const std::vector<Loads<Number>*>& loads) {
    pending_.clear();
    for (Loads<Number>* const at : loads) {
      first_.begin(at->unit, at->points.data(), ways[0].rho);
      first_.step();
      const Mask is_open = !first_.is_inside() && dot(at->unit, at->unit) < Number(2);
      if (any(is_open)) first_.advance();
      first_.give(at->points.data());
      for (int lane = 0; lane < lanes; ++lane) {
        if (lane_of(is_open, lane)) pending_.push_back({at, lane});
      }
    }
    iterate();
  }

 private:
  using Mask = MaskOf<Number>;
  static constexpr int lanes = lane_count<Number>;

  /// The schedule of an iteration: its rho, the smallest share of eps that is left after a step, the share of a step
  /// that it takes, and the number of steps after which another schedule is tried.
  struct Way {
    double rho, fall, share, steps;
  };
  /// The first way goes directly to the least eps. If the ground cannot bear the load, or that takes long, the others
  /// come from a larger eps down. Where full steps run in circles, smaller ones arrive: all ways but the first take
  /// turns, with ever smaller steps. The numbers were found by a search over hard loads.
  static constexpr Way ways[] = {{1e4, 1, 1, 9},     {1, 1e-3, 1, 18},       {100, 0.1, 0.9, 30}, {1, 0.1, 0.9, 30},
                                 {10, 0.3, 0.8, 50}, {0.03, 0.03, 0.9, 200}, {100, 0.3, 0.4, 200}};
  static constexpr int way_count = sizeof ways / sizeof *ways;
  static constexpr double most_eps = 1e-2;
  static constexpr double least_share = 0.1;  ///< no load of that million comes to it

  /// A load in one of its lanes, and how far the iteration of it has got.
  struct Work {
    Loads<Number>* loads = nullptr;
    int lane = 0;
    int way = 0;
    double share = 1;
    double missing = std::numeric_limits<double>::infinity();  ///< with the forces that the load has
  };

  /// A lane that has arrived takes the next load, so that loads with many steps do not hold up the others.
  void iterate() {
    Work works[std::size_t{lanes}];
    int working = 0;
    for (int lane = 0; lane < lanes; ++lane) working += take_next(works[lane], lane);
    rest_.project();
    while (working > 0) {
      rest_.step();
      rest_.advance();
      steps_left_ = steps_left_ - Number(1);
      const Mask is_in_vain = rest_.rho >= Number(ways[0].rho) && rest_.missing() > Number(1e-3);
      const Mask ended = rest_.has_arrived || is_in_vain || steps_left_ <= Number(0);
      if (!any(ended)) continue;
      const std::size_t waiting = pending_.size();
      for (int lane = 0; lane < lanes; ++lane) {
        Work& work = works[lane];
        if (work.loads == nullptr || !lane_of(ended, lane)) continue;
        const bool has_arrived = lane_of(rest_.has_arrived, lane);
        const double missing = has_arrived ? 0 : lane_of(rest_.residual(), lane);
        if (missing < work.missing) rest_.give_lane(work.loads->points.data(), lane, work.lane);
        work.missing = std::min(work.missing, missing);
        if (!has_arrived && try_next_way(work, lane)) continue;
        working -= !take_next(work, lane);
      }
      if (pending_.size() < waiting) rest_.project();
    }
  }

  /// Takes another load into a lane. Returns whether there is one.
  bool take_next(Work& work, int lane) {
    work = {};
    if (pending_.empty()) return false;
    work = pending_.back();
    pending_.pop_back();
    rest_.take_lane(work.loads->unit, work.loads->points.data(), work.lane, lane);
    go(work, lane, ForceIteration<Number>::least_eps);
    return true;
  }

  /// Goes on where the way so far has ended. Returns false if no way is left.
  bool try_next_way(Work& work, int lane) noexcept {
    if (++work.way == way_count) {
      work.way = 1;
      work.share *= 0.9;
    }
    go(work, lane, std::clamp(lane_of(rest_.nearness, lane), ForceIteration<Number>::least_eps, most_eps));
    return work.share > least_share;
  }

  void go(const Work& work, int lane, double eps) noexcept {
    const Way& way = ways[work.way];
    put_lane(rest_.eps, lane, eps);
    put_lane(rest_.fall, lane, way.fall);
    put_lane(rest_.rho, lane, way.rho);
    put_lane(rest_.share, lane, work.share * way.share);
    put_lane(steps_left_, lane, way.steps);
  }

  ForceIteration<Number> first_, rest_;
  Number steps_left_{};
  std::vector<Work> pending_;
};

}  // namespace korvel::contact
