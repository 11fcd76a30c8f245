#include "bench/instants.h"

#include <iterator>
#include <random>

#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

constexpr std::size_t joint_count = std::size(metapod::models::KorvelRobot::bodies) - 1;

class Source {
 public:
  Eigen::ArrayXf joints() { return values(joint_count).cast<float>(); }
  Eigen::Matrix<double, 6, 1> root() { return values(6).matrix(); }
  std::vector<float> wrench() {
    const Eigen::ArrayXd six = values(6);
    std::vector<float> wrench;
    for (Eigen::Index i = 0; i < 6; ++i) wrench.push_back(static_cast<float>(i < 3 ? 20 * six(i) : six(i)));
    return wrench;
  }

 private:
  // Not std::uniform_real_distribution, which every library makes in its own way.
  double value() { return 2 * static_cast<double>(generator_()) / static_cast<double>(std::mt19937::max()) - 1; }
  Eigen::ArrayXd values(Eigen::Index count) {
    return Eigen::ArrayXd::NullaryExpr(count, [this] { return value(); });
  }

  std::mt19937 generator_{1};
};

}  // namespace

LoadedInstants seeded_instants(std::size_t count) {
  Source source;
  LoadedInstants states(count);
  for (std::size_t k = 0; k < states.size(); ++k) {
    LoadedInstant& state = states[k];
    state.joint_pos = source.joints();
    state.joint_vel = source.joints();
    state.joint_acc = source.joints();
    state.root_q = source.root();
    state.root_dq = source.root();
    state.root_ddq = source.root();
    state.root = host::root_motion(state.root_q, state.root_dq, state.root_ddq);
    for (auto& wrench : state.wrenches) wrench = source.wrench();
    state.body = 1 + k % joint_count;
  }
  return states;
}

}  // namespace korvel::bench
