// Momentum of the robot and jacobians of points, out of results of the kernels: tile by tile, four states at once.

#include <algorithm>
#include <cmath>

#include "batch/kernels/mass_entries.h"
#include "batch/korvel/batch_dynamics.h"
#include "batch/object.h"
#include "batch/rows_in_order.h"
#include "metapod/models/gravity.h"
#include "metapod/spatial/motion.h"
#include "metapod/spatial/pack.h"

using namespace korvel::batch;

namespace {

using metapod::Spatial::Pack;
using Vector = metapod::Spatial::Vector3T<Pack>;
using Motion = metapod::Spatial::MotionT<Pack>;
/// A matrix whose columns are the rows of the rotation R from a body to the world or the root.
using Rows = metapod::Spatial::Matrix3T<Pack>;

constexpr int all_poses = 12 * body_count;
constexpr int six_rows = 6 * coordinate_count;

/// Numbers of a tile of states.
template <int count>
struct Tile {
  Output all() noexcept { return {values, 1, tile_size, 0}; }
  Pack at(int number, int four) const noexcept { return metapod::Spatial::load(values + tile_size * number + four); }
  void put(int number, int four, const Pack& pack) noexcept {
    metapod::Spatial::store(values + tile_size * number + four, pack);
  }
  Vector vector(int number, int four) const noexcept {
    return {at(number, four), at(number + 1, four), at(number + 2, four)};
  }
  /// Column of a matrix with six rows.
  void put_column(int column, int columns, int four, const Motion& m) noexcept {
    const Pack rows[]{m.w.x, m.w.y, m.w.z, m.v.x, m.v.y, m.v.z};
    for (int row = 0; row < 6; ++row) put(column + columns * row, four, rows[row]);
  }
  void read(const Input& input, const Stretch& states) noexcept {
    for (std::ptrdiff_t s = 0; s < tile_size; ++s) {
      const float* from = input.of_state(std::min(states.first + s, states.last - 1));
      for (int k = 0; k < count; ++k) values[tile_size * k + s] = from[k * input.number];
    }
  }
  void write(const Output& output, const Stretch& states) const noexcept {
    if (!has_data(output)) return;
    for (std::ptrdiff_t s = 0; s < states.last - states.first; ++s) {
      float* to = output.of_state(states.first + s);
      for (int k = 0; k < count; ++k) to[k * output.number] = values[tile_size * k + s];
    }
  }

  alignas(64) float values[static_cast<std::size_t>(count * tile_size)];
};

Motion scaled(const Pack& k, const Motion& m) noexcept { return {k * m.w, k * m.v}; }

struct Kinematics {
  static Rows rotation(const Tile<all_poses>& poses, int body, int four) noexcept {
    const auto row = [&](int r) { return poses.vector(12 * body + 4 * r, four); };
    return {row(0), row(1), row(2)};
  }
  Vector in_root(int body, const float* place, int four) const noexcept {
    const auto at = [&](int r) { return poses_root.at(12 * body + 4 * r + 3, four); };
    return transposed_times(rotation(poses_root, body, four), Vector{Pack(place[0]), Pack(place[1]), Pack(place[2])}) +
           Vector{at(0), at(1), at(2)};
  }
  Motion column(int d, int four) const noexcept {
    const auto at = [&](int row) { return jacobian.at(d + coordinate_count * row, four); };
    return {{at(0), at(1), at(2)}, {at(3), at(4), at(5)}};
  }

  Tile<all_poses> poses_root, poses_world;
  Tile<six_rows> jacobian;
};

struct Point {
  /// Whether a coordinate moves the body.
  bool moves_with(int d) const noexcept {
    return mass_places.of_entry[static_cast<std::size_t>(d)][own_coordinate] < mass_places.count;
  }

  int body;
  std::size_t own_coordinate;  ///< the last of those that move the body
  const float* place;
  Output jacobian, bias;
};

std::vector<Point> checked_points(const korvel_batch_point* points, std::ptrdiff_t count, std::ptrdiff_t n) {
  if (count < 1) refuse(KORVEL_BATCH_COUNT, "point_count is ", count, ": there must be at least one point");
  require_pointer(points, "points");
  std::vector<Point> checked;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const auto& [body, place, jacobian, bias] = points[i];
    require_body(body);
    for (const float x : place) {
      if (!std::isfinite(x)) refuse(KORVEL_BATCH_VALUE, "the place of a point is not finite");
    }
    checked.push_back({body, static_cast<std::size_t>(body + first_joint - 1), place,
                       checked_output(&jacobian, "jacobian", n, six_rows), checked_output(&bias, "bias", n, 6)});
    if (!has_data(checked.back().jacobian) && !has_data(checked.back().bias)) {
      refuse(KORVEL_BATCH_NULL, "a point has no result with data");
    }
  }
  return checked;
}

/// The acceleration of the body and of the point for accelerations of zero; p in the root.
Motion bias_of(const Kinematics& k, const Tile<coordinate_count>& dq, const Point& point, const Vector& p,
               int four) noexcept {
  Motion V{dq.vector(3, four), dq.vector(0, four)};
  Motion A{};
  for (int d = first_joint; d <= static_cast<int>(point.own_coordinate); ++d) {
    if (!point.moves_with(d)) continue;
    const Motion of_joint = scaled(dq.at(d, four), k.column(d, four));
    V = V + of_joint;
    A = A + cross(V, of_joint);
  }
  return {A.w, A.v + cross(A.w, p) + cross(V.w, V.v + cross(V.w, p))};
}

void write_point(const Kinematics& k, const Tile<coordinate_count>& dq, const Point& point, const Stretch& states) {
  Tile<six_rows> jacobian{};
  Tile<6> bias;
  for (int four = 0; four < tile_size; four += Pack::lanes) {
    const Rows R = Kinematics::rotation(k.poses_world, 0, four);
    const Vector p = k.in_root(point.body, point.place, four);
    const auto in_world = [&](const Vector& v) -> Vector { return transposed_times(R, v); };
    for (int d = 0; d <= static_cast<int>(point.own_coordinate); ++d) {
      if (!point.moves_with(d)) continue;
      const auto [w, v] = k.column(d, four);
      jacobian.put_column(d, coordinate_count, four, {in_world(w), in_world(v + cross(w, p))});
    }
    if (!has_data(point.bias)) continue;
    const auto [w, v] = bias_of(k, dq, point, p, four);
    bias.put_column(0, 1, four, {in_world(w), in_world(v)});
  }
  jacobian.write(point.jacobian, states);
  bias.write(point.bias, states);
}

struct MomentumResults {
  Output matrix, momentum, rate, bias;
};

/// The mass matrix and the force on the root of a tile of states.
struct Momentum {
  /// Moves a force and a moment on the root, or their rates, to the centre of mass, and turns them into the world.
  Motion about_com(const Vector& force, const Vector& moment, int four) const noexcept {
    const Rows R = Kinematics::rotation(kinematics.poses_world, 0, four);
    const Pack m = entry(0, 0, four);
    const Vector com = Vector{entry(5, 1, four), entry(3, 2, four), entry(4, 0, four)} / m;
    return {transposed_times(R, moment - cross(com, force)), transposed_times(R, force)};
  }
  Pack entry(int row, int column, int four) const noexcept {
    return mass.at(mass_places.of_entry[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)], four);
  }
  Motion column(int d, int four) const noexcept {
    const auto at = [&](int row) { return entry(row, d, four); };
    return about_com({at(0), at(1), at(2)}, {at(3), at(4), at(5)}, four);
  }
  /// The force on the root for accelerations of zero, less its weight.
  Motion bias(int four) const noexcept {
    Motion result = about_com(forces.vector(0, four), forces.vector(3, four), four);
    result.v.z = result.v.z - Pack(metapod::minus_g.v.z) * entry(0, 0, four);
    return result;
  }

  Kinematics kinematics;
  Tile<mass_entry_count> mass;
  Tile<coordinate_count> forces, dq, ddq;
};

void write_momentum(const Momentum& of, const MomentumResults& wanted, const Stretch& states) {
  Tile<six_rows> matrix;
  Tile<6> momentum;
  Tile<6> rate;
  Tile<6> bias;
  for (int four = 0; four < tile_size; four += Pack::lanes) {
    Motion sum{};
    Motion change = has_data(wanted.rate) || has_data(wanted.bias) ? of.bias(four) : Motion{};
    bias.put_column(0, 1, four, change);
    for (int d = 0; d < coordinate_count; ++d) {
      const Motion column = of.column(d, four);
      matrix.put_column(d, coordinate_count, four, column);
      sum = sum + scaled(of.dq.at(d, four), column);
      if (has_data(wanted.rate)) change = change + scaled(of.ddq.at(d, four), column);
    }
    momentum.put_column(0, 1, four, sum);
    rate.put_column(0, 1, four, change);
  }
  matrix.write(wanted.matrix, states);
  momentum.write(wanted.momentum, states);
  rate.write(wanted.rate, states);
  bias.write(wanted.bias, states);
}

}  // namespace

int korvel_batch_momentum(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                          const korvel_batch_input* dq, const korvel_batch_input* ddq,
                          const korvel_batch_momentum_results* results) {
  return status_of([&] {
    const MovingCall call(batch, n, q, dq, nullptr, 0);
    require_pointer(results, "results");
    const MomentumResults wanted{
        checked_output(&results->matrix, "matrix", n, six_rows), checked_output(&results->momentum, "momentum", n, 6),
        checked_output(&results->rate, "rate", n, 6), checked_output(&results->bias, "bias", n, 6)};
    require_a_result(wanted.matrix, wanted.momentum, wanted.rate, wanted.bias);
    const Input accelerations = has_data(wanted.rate) ? checked_input(ddq, "ddq", n, coordinate_count) : Input{};
    const KernelSet& kernels = batch->set.kernels(std::min(n, tile_size));
    static constexpr float rest[coordinate_count]{};
    batch->threads.for_each_stretch(n, [&](const Stretch& stretch) {
      Momentum of;
      for_each_tile(stretch, [&](const Stretch& states) {
        const Stretch tile{0, states.last - states.first};
        const Input q_of_tile = from(call.positions, states.first);
        of.dq.read(call.velocities, states);
        kernels.mass(*call.masses, tile, q_of_tile, of.mass.all(), {});
        kernels.kinematics(*call.masses, tile, q_of_tile, {{}, of.kinematics.poses_world.all(), {}, {}, {}});
        if (has_data(wanted.rate)) of.ddq.read(accelerations, states);
        if (has_data(wanted.rate) || has_data(wanted.bias)) {
          kernels.dynamics(*call.masses, tile, q_of_tile, from(call.velocities, states.first), {rest, 0, 1, 0},
                           {nullptr, 0}, of.forces.all(), nullptr);
        }
        write_momentum(of, wanted, states);
      });
    });
  });
}

int korvel_batch_body_jacobians(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                const korvel_batch_input* dq, const korvel_batch_point* points, ptrdiff_t point_count) {
  return status_of([&] {
    const Call call(batch, n, q);
    const std::vector<Point> wanted = checked_points(points, point_count, n);
    const bool wants_bias = std::any_of(wanted.begin(), wanted.end(), [](const Point& p) { return has_data(p.bias); });
    const Input velocities = wants_bias ? checked_input(dq, "dq", n, coordinate_count) : Input{};
    const KernelSet& kernels = batch->set.kernels(std::min(n, tile_size));
    batch->threads.for_each_stretch(n, [&](const Stretch& stretch) {
      Kinematics kinematics;
      Tile<coordinate_count> rates;
      for_each_tile(stretch, [&](const Stretch& states) {
        kernels.kinematics(
            *call.masses, {0, states.last - states.first}, from(call.positions, states.first),
            {kinematics.poses_root.all(), kinematics.poses_world.all(), {}, {}, kinematics.jacobian.all()});
        if (wants_bias) rates.read(velocities, states);
        for (const Point& point : wanted) write_point(kinematics, rates, point, states);
      });
    });
  });
}
