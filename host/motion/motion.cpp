#include "host/motion/motion.h"

#include <fmt/format.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "host/io/samples.h"
#include "host/motion/spline.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;

const Names position_names{"x", "y", "z"};
const Names angle_names{"roll", "pitch", "yaw"};
const Names quaternion_names{"qw", "qx", "qy", "qz"};

bool contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

const std::string contact_suffix = "_contact";

/// The body whose contact with the ground a column gives; none for other columns.
std::optional<std::string> body_of_contact(const std::string& column) {
  if (column.size() <= contact_suffix.size()) return std::nullopt;
  const std::size_t length = column.size() - contact_suffix.size();
  if (column.compare(length, std::string::npos, contact_suffix) != 0) return std::nullopt;
  return column.substr(0, length);
}

/// Every name is known; the orientation is given once, as a whole if by a quaternion.
void check_names(const std::filesystem::path& path, const CsvRow& header, const Names& joint_names,
                 const Names& soles) {
  const Names& fields = header.fields;
  const auto has = [&](const std::string& name) { return contains(fields, name); };
  for (const std::string& field : fields) {
    if (field == "time" || contains(joint_names, field)) continue;
    if (contains(position_names, field) || contains(angle_names, field) || contains(quaternion_names, field)) continue;
    if (const std::optional<std::string> body = body_of_contact(field)) {
      if (contains(soles, *body)) continue;
      throw error_at(path, header.line,
                     fmt::format("expected contact columns of bodies with a sole, found '{:.40}'", field));
    }
    throw error_at(path, header.line,
                   fmt::format("expected a column named time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or as a joint, "
                               "found '{:.40}'",
                               field));
  }
  if (std::none_of(quaternion_names.begin(), quaternion_names.end(), has)) return;
  for (const std::string& name : quaternion_names) {
    if (!has(name)) {
      throw error_at(path, header.line,
                     fmt::format("expected all of qw, qx, qy and qz or none, found no column '{}'", name));
    }
  }
  for (const std::string& name : angle_names) {
    if (has(name)) {
      throw error_at(
          path, header.line,
          fmt::format("expected the orientation as angles or as a quaternion, found '{}' beside 'qw'", name));
    }
  }
}

/// The columns of these names side by side, taken out of the samples one by one; zeros where there is none.
Eigen::ArrayXXd take_columns(Samples& samples, const Names& names) {
  const auto count = static_cast<Eigen::Index>(samples.count());
  Eigen::ArrayXXd result(count, static_cast<Eigen::Index>(names.size()));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto name = std::find(samples.names.begin(), samples.names.end(), names[i]);
    auto column = result.col(static_cast<Eigen::Index>(i));
    if (name == samples.names.end()) {
      column.setZero();
      continue;
    }
    std::vector<double>& values = samples.columns[static_cast<std::size_t>(name - samples.names.begin())];
    column = Eigen::Map<const Eigen::ArrayXd>(values.data(), count);
    std::vector<double>().swap(values);
  }
  return result;
}

Eigen::Quaterniond rotation(double roll, double pitch, double yaw) {
  using Eigen::AngleAxisd;
  using Eigen::Vector3d;
  return AngleAxisd(yaw, Vector3d::UnitZ()) * AngleAxisd(pitch, Vector3d::UnitY()) *
         AngleAxisd(roll, Vector3d::UnitX());
}

/// Unit quaternions by either kind of columns. Of the two that stand for an orientation each is the one nearer to the
/// one before, so that neither wrapped angles nor angles that flip at the pole, nor signs that do, turn the root.
Eigen::ArrayX4d take_orientation(const std::filesystem::path& path, Samples& samples) {
  // Rounding to two decimals, or to single precision by way of a few products, leaves less.
  constexpr double tolerance = 0.02;
  const bool by_quaternion = contains(samples.names, "qw");
  const Eigen::ArrayXXd given = take_columns(samples, by_quaternion ? quaternion_names : angle_names);
  Eigen::ArrayX4d result(given.rows(), 4);
  Eigen::Vector4d last(1, 0, 0, 0);
  for (Eigen::Index s = 0; s < given.rows(); ++s) {
    Eigen::Vector4d q;
    if (by_quaternion) {
      q = given.row(s).transpose();
      const double length = q.norm();
      if (!(std::abs(length - 1) <= tolerance)) {
        throw error_at(path, samples.lines[static_cast<std::size_t>(s)],
                       fmt::format("expected a quaternion of length 1 in qw, qx, qy, qz, found one of {:.6g}", length));
      }
      q /= length;
    } else {
      const Eigen::Quaterniond r = rotation(given(s, 0), given(s, 1), given(s, 2));
      q << r.w(), r.x(), r.y(), r.z();
    }
    if (q.dot(last) < 0) q = -q;
    result.row(s) = q.transpose();
    last = q;
  }
  return result;
}

std::map<std::string, std::vector<bool>> read_contacts(const std::filesystem::path& path, const Samples& samples) {
  std::map<std::string, std::vector<bool>> contacts;
  for (std::size_t i = 0; i < samples.names.size(); ++i) {
    const std::optional<std::string> body = body_of_contact(samples.names[i]);
    if (!body) continue;
    std::vector<bool>& contact = contacts[*body];
    for (std::size_t s = 0; s < samples.count(); ++s) {
      const double value = samples.columns[i][s];
      if (std::abs(value * (value - 1)) > 0) {
        throw error_at(path, samples.lines[s],
                       fmt::format("expected 0 or 1 in column '{:.40}', found {}", samples.names[i], value));
      }
      contact.push_back(value > 0);
    }
  }
  return contacts;
}

/// The mean time between samples [s]; 0 of a single one.
double mean_step(const Motion& motion) {
  const Eigen::Index steps = motion.elapsed.size() - 1;
  return steps > 0 ? motion.elapsed[steps] / static_cast<double>(steps) : 0;
}

/// Of the columns that change.
int fewest_decimals(const Samples& samples) {
  int fewest = std::numeric_limits<int>::max();
  for (std::size_t i = 0; i < samples.names.size(); ++i) {
    const auto& column = samples.columns[i];
    const auto [least, most] = std::minmax_element(column.begin(), column.end());
    if (samples.names[i] == "time" || body_of_contact(samples.names[i])) continue;
    if (*least < *most) fewest = std::min(fewest, samples.decimals[i]);
  }
  return fewest;
}

}  // namespace

Motion read_motion(const std::filesystem::path& path, const Names& joint_names, const Names& soles) {
  Samples samples = read_samples(path, [&](const CsvRow& header) { check_names(path, header, joint_names, soles); });
  const auto count = static_cast<Eigen::Index>(samples.count());
  Motion motion;
  motion.decimals = fewest_decimals(samples);
  motion.contacts = read_contacts(path, samples);
  motion.time = take_columns(samples, {"time"}).col(0);
  motion.elapsed = Eigen::Map<const Eigen::ArrayXd>(samples.elapsed.data(), count);
  motion.position = take_columns(samples, position_names);
  motion.orientation = take_orientation(path, samples);
  motion.joints = take_columns(samples, joint_names);
  motion.file = path;
  motion.lines = std::move(samples.lines);
  return motion;
}

std::vector<std::string> doubts_about(const Motion& motion, const Names& joint_names) {
  // A range of more than two turns is no humanoid's joint; ten seconds between samples is no motion.
  const double two_turns = 4 * std::acos(-1.0);
  constexpr double long_step = 10;
  std::vector<std::string> doubts;
  for (Eigen::Index j = 0; j < motion.joints.cols(); ++j) {
    const double range = motion.joints.col(j).maxCoeff() - motion.joints.col(j).minCoeff();
    if (range <= two_turns) continue;
    doubts.push_back(fmt::format("column '{}' changes by {:.4g}: angles are in radians, are these degrees?",
                                 joint_names[static_cast<std::size_t>(j)], range));
    break;
  }
  const double step = mean_step(motion);
  if (step >= long_step) {
    doubts.push_back(fmt::format("samples are {:.4g} s apart: time is in seconds, are these milliseconds?", step));
  }
  return doubts;
}

std::optional<RoundingNoise> rounding_noise(const Motion& motion) {
  constexpr double noticed = 0.5;   // [rad/s^2], root mean square
  constexpr double harmless = 0.2;  // some hundredths of a newton metre
  if (motion.elapsed.size() < 2 || motion.decimals == std::numeric_limits<int>::max()) return std::nullopt;
  const double h = mean_step(motion);
  const double unit = 0.5 * std::pow(10, -motion.decimals);
  const double rms_unit = unit / std::sqrt(3.0);
  const double rms = 6 * rms_unit / (h * h);
  if (rms < noticed) return std::nullopt;
  // White noise of variance s^2 leaves accelerations of variance s^2 h penalty^(-5/4) / (8 sqrt 2).
  const double penalty = std::pow(8 * std::sqrt(2.0) * harmless * harmless / (rms_unit * rms_unit * h), -0.8);
  return RoundingNoise{12 * unit / (h * h), rms, cutoff_of_penalty(penalty), harmless};
}

}  // namespace korvel::host
