#pragma once

/// The forces of `distribute` for many loads, with one in each lane.

#include <cstddef>
#include <vector>

#include "contact/force_iteration.h"

namespace korvel::contact {

/// A load in each lane, of length one and about one point. Lanes that are not finite get forces that are
/// no numbers.
template <typename Number>
struct LoadsInLanes {
  WrenchT<Number> load;
  LoadedPoint<Number>* points;
};

/// Distributes a load whose forces the iteration has not found: slowly, and always. Its numbers, and those of its
/// points as LoadedPoint has them, stand at every `stride`-th double.
void distribute_slowly(const double* load, double* points, std::ptrdiff_t stride, const double* frictions, int count);

template <typename Number>
class NearestForces {
 public:
  /// For points with these coefficients of friction, which outlive it.
  NearestForces(const double* frictions, int count)
      : frictions_(frictions), count_(count), first_(frictions, count), rest_(frictions, count) {}

  /// Writes the forces of the points of all loads, each within its cone.
  void find(LoadsInLanes<Number>* loads, int blocks) {
    pending_.clear();
    for (int b = 0; b < blocks; ++b) {
      first_.begin(loads[b].load, loads[b].points);
      first_.step();
      const auto is_open = both(opposite(first_.is_inside()), square(loads[b].load) < Number(2));
      if (any(is_open)) first_.advance();
      first_.give(loads[b].points);
      for (int lane = 0; lane < lanes; ++lane) {
        if (lane_of(is_open, lane)) pending_.push_back({b, lane});
      }
    }
    iterate(loads);
    for (int b = 0; b < blocks; ++b) {
      for (int i = 0; i < count_; ++i) {
        Vector3T<Number>& force = loads[b].points[i].force;
        force = FrictionCone{frictions_[i]}.nearest(force).force;
      }
    }
  }

 private:
  using Mask = MaskOf<Number>;
  static constexpr int lanes = lane_count<Number>;

  /// Steps after which what is found in most cases is not found, and those after which it will not be.
  static constexpr double direct_steps = 12;
  static constexpr double restart_step = 20;
  static constexpr double most_steps = 60;

  struct Place {
    int block = -1, lane = 0;
  };

  /// A lane that has arrived takes the next load, so that loads with many steps do not hold up the others.
  void iterate(LoadsInLanes<Number>* loads) {
    Place places[std::size_t{lanes}];
    int working = 0;
    bool is_refilled = false;
    const auto refill = [&](int lane) {
      places[lane] = {};
      if (pending_.empty()) return false;
      places[lane] = pending_.back();
      pending_.pop_back();
      const LoadsInLanes<Number>& from = loads[places[lane].block];
      rest_.take_lane(from.load, from.points, places[lane].lane, lane);
      is_refilled = true;
      return true;
    };
    for (int lane = 0; lane < lanes; ++lane) working += refill(lane);
    while (working > 0) {
      if (is_refilled) rest_.project();
      is_refilled = false;
      rest_.step();
      rest_.advance();
      const Mask found = rest_.has_arrived();
      const Mask ended = either(found, rest_.steps >= Number(most_steps));
      set_schedule(rest_);
      if (!any(ended)) continue;
      for (int lane = 0; lane < lanes; ++lane) {
        if (places[lane].block < 0 || !lane_of(ended, lane)) continue;
        const LoadsInLanes<Number>& to = loads[places[lane].block];
        rest_.give_lane(to.points, lane, places[lane].lane);
        if (!lane_of(found, lane)) {
          distribute_slowly(numbers_of(to.load) + places[lane].lane, numbers_of(to.points[0]) + places[lane].lane,
                            lanes, frictions_, count_);
        }
        working -= !refill(lane);
      }
    }
  }

  template <typename Value>
  static auto numbers_of(Value& value) noexcept {
    using Double = std::conditional_t<std::is_const_v<Value>, const double, double>;
    return reinterpret_cast<Double*>(&value);
  }

  /// Directly at the least eps, with a large rho. If the ground cannot bear the load, or that takes long, from a larger
  /// eps down, as fast as the forces follow; and if that takes long, from other forces and more slowly.
  static void set_schedule(ForceIteration<Number>& at) noexcept {
    constexpr double direct_rho = ForceIteration<Number>::direct_rho;
    constexpr double restart_rho = 100;
    const Number least(ForceIteration<Number>::least_eps);
    const Number most(1e-2);
    const Number nearness = Number(0.01) * at.far;
    const Mask is_direct = at.rho >= Number(direct_rho);
    const Mask turns = both(is_direct, either(at.missing() > Number(1e-3), at.steps >= Number(direct_steps)));
    const Number fall = select(at.rho >= Number(restart_rho), Number(0.1), Number(1e-3));
    const Number falling = smaller(at.eps, larger(larger(least, fall * at.eps), nearness));
    at.eps = select(turns, smaller(larger(nearness, least), most), select(is_direct, at.eps, falling));
    at.rho = select(turns, Number(1), at.rho);

    const Mask restarts = both(at.steps >= Number(restart_step), at.steps <= Number(restart_step));
    if (!any(restarts)) return;
    at.eps = select(restarts, most, at.eps);
    at.rho = select(restarts, Number(restart_rho), at.rho);
    at.restart(restarts, {Number(0), Number(0), Number(1)});
    at.project();
  }

  const double* frictions_;
  int count_;
  ForceIteration<Number> first_, rest_;
  std::vector<Place> pending_;
};

}  // namespace korvel::contact
