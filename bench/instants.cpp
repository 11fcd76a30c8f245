#include "bench/instants.h"

#include <random>

namespace korvel::bench {

namespace {

class Source {
 public:
  Eigen::ArrayXf joints() { return values(joint_count).cast<float>(); }
  template <typename Six>
  Six root() {
    const Eigen::ArrayXf six = values(6).cast<float>();
    return {six(0), six(1), six(2), six(3), six(4), six(5)};
  }
  std::vector<float> wrench() {
    const Eigen::ArrayXd six = values(6);
    std::vector<float> wrench;
    for (Eigen::Index i = 0; i < 6; ++i) wrench.push_back(static_cast<float>(i < 3 ? 20 * six(i) : six(i)));
    return wrench;
  }

 private:
  // std::uniform_real_distribution would differ from library to library.
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
    state.root = {QZ::Math::transformFromPosition6D(source.root<QZ::Math::Position6D>()),
                  source.root<QZ::Math::Velocity6D>(), source.root<QZ::Math::Velocity6D>()};
    for (auto& wrench : state.wrenches) wrench = source.wrench();
    state.body = 1 + k % joint_count;
  }
  return states;
}

}  // namespace korvel::bench
