// Compiled once for each instruction set, with KORVEL_LANES.

#include "batch/kernels/standing.h"

#include <cmath>
#include <limits>
#include <vector>

#include "batch/kernels/standing_passes.h"
#include "contact/phases.h"

namespace korvel::batch {

namespace {

/// The number of states at once. A lane without a load to distribute is rare, and all fits into the cache.
constexpr std::ptrdiff_t chunk = 8 * tile_size;
constexpr int wrench_numbers = 6;

/// The shares that are given for a sole, NaN for the others.
template <int n>
Doubles<n> given_shares(const Input& contact, const Block<n>& block, int sole) noexcept {
  Doubles<n> shares(std::numeric_limits<double>::quiet_NaN());
  if (contact.data == nullptr) return shares;
  for (int lane = 0; lane < n; ++lane) {
    const float share = contact.of_state(block.first + block.place_of(lane))[sole * contact.number];
    contact::put_lane(shares, lane, static_cast<double>(share));
  }
  return shares;
}

template <int n>
class StandKernel {
 public:
  using Number = Doubles<n>;

  StandKernel(const Masses& masses, const GroundTable& ground)
      : masses_(masses), ground_(ground), forces_(ground.soles.frictions) {
    for (std::ptrdiff_t i = 0; i < chunk / n; ++i) blocks_.emplace_back(ground.soles);
    loads_.reserve(blocks_.size());  // Blocks are visited by code that cannot throw.
    for (const contact::SoleEntry& sole : ground.soles.soles) has_sole_[sole.body] = true;
  }

  void run(const Stretch& states, const MotionInput& given, const StandResults& wanted) {
    korvel_batch_stand_sums sums{{}, std::numeric_limits<float>::infinity(), 0};
    ForceSums force_sums{};
    for (std::ptrdiff_t first = states.first; first < states.last; first += chunk) {
      loads_.clear();
      for_each_block<n>({first, std::min(first + chunk, states.last)}, [&](const auto& block) {
        StandingBlock<n>& at = blocks_[loads_.size()];
        at.block = block;
        begin(at, given);
        loads_.push_back(&at.stance.loads);
      });
      forces_.find(loads_);
      for (std::size_t b = 0; b < loads_.size(); ++b) {
        StandingBlock<n>& at = blocks_[b];
        at.stance.conclude();
        write(at, wanted);
        if (wanted.forces.data == nullptr && wanted.sums == nullptr) continue;
        PackOf<n> forces[coordinate_count];
        compute_with_ground<n>(masses_, at, sole_loads_, forces);
        write_numbers<n>(wanted.forces, at.block, 0, coordinate_count, forces);
        if (wanted.sums == nullptr) continue;
        add(at, sums);
        batch::add<n>(at.block, forces, force_sums);
      }
    }
    if (wanted.sums == nullptr) return;
    sums.forces = folded<n>(force_sums);
    *wanted.sums = sums;
  }

 private:
  /// Up to what the ground has to give.
  void begin(StandingBlock<n>& at, const MotionInput& motion) noexcept {
    motion_.take(at.block, motion);
    std::copy_n(motion_.q, coordinate_count, at.q);
    at.angles = motion_.angles;
    compute_without_ground<n>(masses_, motion_, has_sole_, at.net, found_);

    // Positions are relative to the root's origin from here on, so that precision does not depend on the place in the
    // world.
    at.root = contact::rigid(widened<n>(found_.root_world));
    const PackOf<n>* const r = found_.forces;
    const contact::WrenchT<Number> required{{widened<n>(r[0]), widened<n>(r[1]), widened<n>(r[2])},
                                            {widened<n>(r[3]), widened<n>(r[4]), widened<n>(r[5])}};
    const auto com = widened<n>(found_.com_root);
    Number all = dot(required, required) + dot(com, com) + dot(at.root.t, at.root.t);
    int i = 0;
    for (contact::SoleInLanes<Number>& sole : at.stance.soles) {
      const SoleBody<n>& body = found_.bodies[sole.entry->body];
      const DoublePose<n> pose = widened<n>(body.pose_root);
      at.stance.place(sole, contact::turned(at.root, pose));
      const auto velocity = widened<n>(body.motion_body.v) + cross(widened<n>(body.motion_body.w), sole.lowest_body);
      const Number speed = contact::square_root(dot(velocity, velocity));
      const Number height = at.root.t.z + sole.lowest - Number(ground_.height);
      const auto is_near = contact::ContactBounds{}.allow(height, speed);
      const Number given = given_shares<n>(ground_.contact, at.block, i++);
      const Number clamped = contact::smaller(contact::larger(given, Number(0)), Number(1));
      const auto is_given = given <= Number(0) || given > Number(0);
      sole.share = select(is_given, clamped, select(is_near, Number(1), Number(0)));
      all = all + dot(pose.t, pose.t);
    }
    at.is_finite = all < Number(std::numeric_limits<double>::infinity());
    at.stance.prepare({{rotated(at.root, required.force), rotated(at.root, required.moment)},
                       rotated(at.root, com),
                       Number(ground_.height) - at.root.t.z,
                       contact::gravity * static_cast<double>(masses_.total),
                       contact::ContactBounds{}.height});
  }

  /// All but the forces; sets the loads for these.
  void write(StandingBlock<n>& at, const StandResults& results) noexcept {
    const Number none(std::numeric_limits<double>::quiet_NaN());
    const auto pack = [&](const Number& x) { return narrowed<n>(select(at.is_finite, x, none)); };
    const auto put = [&](const Output& output, int first, const auto&... numbers) {
      batch::write<n>(output, at.block, first, pack(numbers)...);
    };
    const Number& x = at.root.t.x;
    const Number& y = at.root.t.y;
    put(results.zmp, 0, x + at.stance.zmp.x, y + at.stance.zmp.y);
    put(results.zmp_margin, 0, at.stance.margin.distance);
    put(results.residual, 0, at.stance.residual);
    put(results.verdict, 0, at.stance.verdict);
    int i = 0;
    for (const contact::SoleInLanes<Number>& sole : at.stance.soles) {
      const auto& [force, moment] = sole.load_world;
      put(results.loads, wrench_numbers * i, force.x, force.y, force.z, moment.x, moment.y, moment.z);
      put(results.pressure, 2 * i++, x + sole.pressure.x, y + sole.pressure.y);
      const auto packs = [&](const auto& v) -> metapod::Spatial::Vector3T<PackOf<n>> {
        const auto in_body = rotated_back(sole.pose_world, v);
        return {pack(in_body.x), pack(in_body.y), pack(in_body.z)};
      };
      sole_loads_.of_body[sole.entry->body] = {packs(moment), packs(force)};
    }
  }

  void add(const StandingBlock<n>& at, korvel_batch_stand_sums& sums) const noexcept {
    for (int lane = 0; lane < at.block.count; ++lane) {
      const bool is_finite = contact::lane_of(at.is_finite, lane);
      const auto margin = is_finite ? static_cast<float>(contact::lane_of(at.stance.margin.distance, lane))
                                    : std::numeric_limits<float>::quiet_NaN();
      if (std::isnan(margin) || margin < sums.least_margin) sums.least_margin = margin;
      if (!(is_finite && contact::lane_of(at.stance.residual, lane) <= contact::feasible_residual)) ++sums.unbearable;
    }
  }

  const Masses& masses_;
  const GroundTable& ground_;
  contact::NearestForces<Number> forces_;
  std::vector<StandingBlock<n>> blocks_;
  std::vector<contact::Loads<Number>*> loads_;
  bool has_sole_[body_count]{};
  MotionInLanes<n> motion_;  ///< of the last block that began
  Unsupported<n> found_;     ///< for that block
  ForcesInLanes<n> sole_loads_;
};

}  // namespace

template <>
void stand<KORVEL_LANES>(const Masses& masses, const Stretch& states, const MotionInput& given,
                         const StandResults& wanted) {
  StandKernel<KORVEL_LANES>(masses, *given.ground).run(states, given, wanted);
}

}  // namespace korvel::batch
