#include "bench/peer.h"

namespace korvel::bench {

std::vector<PeerEntry>& peers() {
  static std::vector<PeerEntry> entries;
  return entries;
}

Peer::Pose toMatrix(const QZ::Math::Transform& pose) {
  Eigen::Matrix<float, 3, 4> matrix;
  matrix << pose.r00, pose.r01, pose.r02, pose.tx,  //
      pose.r10, pose.r11, pose.r12, pose.ty,        //
      pose.r20, pose.r21, pose.r22, pose.tz;
  return matrix.cast<double>();
}

}  // namespace korvel::bench
