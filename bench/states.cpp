#include "bench/states.h"

#include <iterator>
#include <random>

#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

constexpr std::size_t state_count = 256;
constexpr std::size_t joint_count = std::size(metapod::models::KorvelRobot::bodies) - 1;

class Source {
 public:
  Eigen::ArrayXf joints() { return values(joint_count).cast<float>(); }
  Eigen::Matrix<double, 6, 1> root() { return values(6).matrix(); }

 private:
  // Not std::uniform_real_distribution, which every library makes in its own way.
  double value() { return 2 * static_cast<double>(generator_()) / static_cast<double>(std::mt19937::max()) - 1; }
  Eigen::ArrayXd values(Eigen::Index count) {
    return Eigen::ArrayXd::NullaryExpr(count, [this] { return value(); });
  }

  std::mt19937 generator_{1};
};

}  // namespace

States seededStates(Root root) {
  Source source;
  States states(state_count);
  for (std::size_t k = 0; k < states.size(); ++k) {
    State& state = states[k];
    state.joint_pos = source.joints();
    state.joint_vel = source.joints();
    state.joint_acc = source.joints();
    auto q = source.root();
    auto dq = source.root();
    auto ddq = source.root();
    if (root == Root::resting) {
      q.tail<3>().setZero();
      dq.setZero();
      ddq.setZero();
    }
    state.root = host::rootMotion(q, dq, ddq);
    state.body = 1 + k % joint_count;
  }
  return states;
}

}  // namespace korvel::bench
