#include <cmath>
#include <limits>

#include "host/validate/core/require.h"
#include "host/validate/observe/require_same.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;

constexpr double eps = 0x1p-24;  // the largest relative error of one rounding

struct BodyInertia {
  float mass;
  QZ::Math::Position3D com;
  Eigen::Matrix3f inertia;
};

BodyInertia random_inertia(Random& random) {
  Eigen::Matrix3f A;
  random.fill(A, 0.05F);
  return {1.5F + random.unit(), {random(0.1F), random(0.1F), random(0.1F)}, A * A.transpose()};
}

void set(Robot& robot, unsigned long b, const BodyInertia& body) {
  robot.setBodyInertia(b, body.mass, body.com, body.inertia);
}

double sum_of_masses(const Robot& robot) {
  double sum = 0;
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) sum += static_cast<double>(robot.getMass(b));
  return sum;
}

void require_mass(float seen, double expected, double tolerance, const std::string& what) {
  require(std::abs(static_cast<double>(seen) - expected) <= tolerance, "{} is {:.9g}, expected {:.9g} within {:.1e}",
          what, seen, expected, tolerance);
}

std::string total_mass(const Subject& subject) {
  constexpr int changes = 100;
  const host::System robot = create(subject);
  const unsigned long bodies = robot->getNbBodies();
  require(bodies > 0, "there are no bodies");
  Random random(subject.seed);
  // One rounding for each body that is summed, two for each change, none of a number above 2.5 kg for each.
  const double largest = 2.5 * static_cast<double>(bodies);
  for (int change = 0; change < changes; ++change) {
    const double tolerance = (static_cast<double>(bodies) + 2 * change + 3) * eps * largest;
    require_mass(robot->getMass(), sum_of_masses(*robot), tolerance, "the total mass");
    for (unsigned long b = 0; b < bodies; ++b) {
      const auto total = static_cast<double>(robot->getMass());
      require_mass(robot->getPartialMass(b), total - static_cast<double>(robot->getMass(b)), eps * largest,
                   fmt::format("the mass without body {}", b));
    }
    for (const unsigned long no_body : {bodies, bodies + 1, ~0UL / 2, ~0UL}) {
      require(same(robot->getPartialMass(no_body), robot->getMass()), "getPartialMass({}) is not the total", no_body);
    }
    const unsigned long b = random.integer() % bodies;
    const BodyInertia body = random_inertia(random);
    set(*robot, b, body);
    require(same(robot->getMass(b), body.mass), "mass {} of body {} reads {}", body.mass, b, robot->getMass(b));
  }
  return fmt::format("{} changes", changes);
}

std::string shared_masses(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System robot = module.create();
  const host::System other = module.create();
  const host::System clone = cloned(other);
  const unsigned long last = robot->getNbBodies() - 1;
  set(*robot, last, {1e8F, {}, Eigen::Matrix3f::Zero()});  // swallows what is added to it
  set(*robot, 0, {0.125F, {}, Eigen::Matrix3f::Zero()});
  set(*robot, last, {0.5F, {}, Eigen::Matrix3f::Zero()});
  for (const auto* any : {&other, &clone}) {
    require(same((*any)->getMass(0), 0.125F) && same((*any)->getMass(), robot->getMass()),
            "a mass that was set on one object is not seen by another");
  }
  const host::System later = module.create();
  require(same(later->getMass(0), 0.125F), "a mass that was set is not seen by an object that is made later");
  for (const auto* any : {&robot, &other, &clone, &later}) {
    const double sum = sum_of_masses(**any);
    require_mass((*any)->getMass(), sum, static_cast<double>(last + 1) * eps * sum, "the total mass after create");
  }
  return "4 objects";
}

/// What all computations make of a state.
std::vector<float> results(Robot& robot, const State& state) {
  compute(state, robot);
  std::vector<float> all = everything_readable(robot);
  for (const Computation& computation : computations) {
    const std::vector<float> more = computation.run(robot);
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

std::string new_inertias(const Subject& subject) {
  const host::Module module(subject.module);
  Random random(subject.seed);
  const host::System robot = module.create();
  const host::System setter = module.create();
  return with_seeds(subject, 16, [&](std::uint64_t seed) {
    const State state = random_state(seed, *robot);
    const std::vector<float> old_results = results(*robot, state);
    // What was computed last must not be taken for what is to be computed next.
    computations[(seed - subject.seed) % computations.size()].run(*robot);
    const std::vector<float> before = everything_readable(*robot);
    for (unsigned long b = 0; b < robot->getNbBodies(); ++b) set(*setter, b, random_inertia(random));
    require_same(*robot, before, "setBodyInertia");

    const host::System fresh = module.create();  // also sums the masses again
    const std::vector<float> expected = results(*fresh, state);
    require(!same_bits(expected, old_results), "new inertias make no difference, seed {}", seed);
    // The joint pass was before the change.
    for (const Computation& computation : computations) {
      const bool same = same_bits(computation.run(*robot), computation.run(*fresh));
      require(same, "{} returns what no new object does after a change of inertias, seed {}", computation.name, seed);
    }
    require_same(*robot, everything_readable(*fresh), "new inertias and every computation");
  });
}

std::string lower_triangle(const Subject& subject) {
  const host::System robot = create(subject);
  const host::System other = cloned(robot);
  Random random(subject.seed);
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    BodyInertia body = random_inertia(random);
    set(*robot, b, body);
    const std::vector<float> expected = results(*robot, random_state(subject.seed, *robot));
    body.inertia.triangularView<Eigen::StrictlyUpper>().setConstant(std::numeric_limits<float>::quiet_NaN());
    set(*robot, b, body);
    require(same_bits(results(*robot, random_state(subject.seed, *robot)), expected),
            "the upper triangle of the inertia of body {} makes a difference", b);
  }
  return fmt::format("{} bodies", robot->getNbBodies());
}

}  // namespace

Checks mass_checks() {
  return {
      {"state.total-mass", "The total mass follows every change, and partial masses follow the total.", 2, 30s,
       total_mass},
      {"state.shared-masses", "Masses belong to all objects, and create sums them again.", 2, 30s, shared_masses},
      {"state.new-inertias", "Every object computes with new inertias, and what it has computed stays.", 2, 30s,
       new_inertias},
      {"state.lower-triangle", "Only the lower triangle of an inertia is read.", 2, 30s, lower_triangle},
  };
}

}  // namespace korvel::validate
