#include "bench/peers/peer.h"

#include <Eigen/Geometry>

namespace korvel::bench {

std::map<std::string, PeerEntry>& peers() {
  static std::map<std::string, PeerEntry> entries;
  return entries;
}

std::filesystem::path exported_robot(const std::string& format) { return KORVEL_EXPORTED "." + format; }

Eigen::Matrix<double, 6, 1> to_vector(const std::vector<float>& wrench) {
  return Eigen::Map<const Eigen::Matrix<float, 6, 1>>(wrench.data()).cast<double>();
}

Eigen::MatrixXd jacobian_in_root(const Eigen::MatrixXd& poses, const Eigen::MatrixXd& columns,
                                 const Eigen::Vector3d& point) {
  const Eigen::Matrix3d R_RW = poses.leftCols<3>().transpose();
  const Eigen::Vector3d to_root = poses.col(3) - point;
  Eigen::MatrixXd jacobian(columns.rows(), columns.cols());
  for (Eigen::Index c = 0; c < columns.cols(); ++c) {
    const Eigen::Vector3d angular = columns.col(c).head<3>();
    jacobian.col(c) << R_RW * angular, R_RW * (columns.col(c).tail<3>() + angular.cross(to_root));
  }
  return jacobian;
}

}  // namespace korvel::bench
