#include "motion/motion.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "motion/csv/csv_reader.h"
#include "motion/csv/samples.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;

const Names position_names{"x", "y", "z"};
const Names angle_names{"roll", "pitch", "yaw"};
const Names quaternion_names{"qw", "qx", "qy", "qz"};

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
  const auto has = [&](const std::string& name) { return index_in(fields, name).has_value(); };
  Names known{"time"};
  for (const Names* names : {&position_names, &angle_names, &quaternion_names, &joint_names}) {
    known.insert(known.end(), names->begin(), names->end());
  }
  for (const std::string& field : fields) {
    if (index_in(known, field)) continue;
    if (const std::optional<std::string> body = body_of_contact(field)) {
      if (index_in(soles, *body)) continue;
      Names columns;
      for (const std::string& sole : soles) columns.push_back(sole + contact_suffix);
      throw error_at(path, header.line, "expected contact columns of bodies with a sole, found '{:.40}'{}", field,
                     did_you_mean(field, columns));
    }
    throw unknown_column(path, header, field, known,
                         "a column time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or the name of a joint");
  }
  if (std::none_of(quaternion_names.begin(), quaternion_names.end(), has)) return;
  for (const std::string& name : quaternion_names) {
    if (!has(name)) {
      throw error_at(path, header.line, "expected all of qw, qx, qy and qz or none, found no column '{}'", name);
    }
  }
  for (const std::string& name : angle_names) {
    if (has(name)) {
      throw error_at(path, header.line, "expected the orientation as angles or as a quaternion, found '{}' beside 'qw'",
                     name);
    }
  }
}

/// The columns of these names side by side, taken out of the samples one by one; zeros where there is none.
Eigen::ArrayXXd take_columns(Samples& samples, const Names& names) {
  const auto count = static_cast<Eigen::Index>(samples.count());
  Eigen::ArrayXXd result = Eigen::ArrayXXd::Zero(count, static_cast<Eigen::Index>(names.size()));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto place = index_in(samples.names, names[i]);
    if (!place) continue;
    std::vector<double>& values = samples.columns[*place];
    result.col(static_cast<Eigen::Index>(i)) = Eigen::Map<const Eigen::ArrayXd>(values.data(), count);
    std::vector<double>().swap(values);
  }
  return result;
}

Eigen::Vector4d quaternion(double roll, double pitch, double yaw) {
  using Eigen::AngleAxisd;
  using Eigen::Vector3d;
  const Eigen::Quaterniond r =
      AngleAxisd(yaw, Vector3d::UnitZ()) * AngleAxisd(pitch, Vector3d::UnitY()) * AngleAxisd(roll, Vector3d::UnitX());
  return {r.w(), r.x(), r.y(), r.z()};
}

/// Unit quaternions by either kind of columns.
Eigen::ArrayX4d take_orientation(const std::filesystem::path& path, Samples& samples) {
  // Rounding to two decimals, or to single precision by way of a few products, leaves less.
  constexpr double tolerance = 0.02;
  const bool by_quaternion = index_in(samples.names, "qw").has_value();
  const Eigen::ArrayXXd given = take_columns(samples, by_quaternion ? quaternion_names : angle_names);
  Eigen::ArrayX4d result(given.rows(), 4);
  for (Eigen::Index s = 0; s < given.rows(); ++s) {
    Eigen::Vector4d q;
    if (by_quaternion) {
      q = given.row(s).transpose();
      const double length = q.norm();
      if (!(std::abs(length - 1) <= tolerance)) {
        throw error_at(path, samples.lines[static_cast<std::size_t>(s)],
                       "expected a quaternion of length 1 in qw, qx, qy, qz, found one of {:.6g}", length);
      }
      q /= length;
    } else {
      q = quaternion(given(s, 0), given(s, 1), given(s, 2));
    }
    result.row(s) = q.transpose();
  }
  make_continuous(result);
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
        throw error_at(path, samples.lines[s], "expected 0 or 1 in column '{:.40}', found {}", samples.names[i], value);
      }
      contact.push_back(value > 0);
    }
  }
  return contacts;
}

/// Returns the fewest decimals of a column. Columns that do not change are ignored.
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
  motion.columns = samples.names;
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

Motion motion_of(const Eigen::ArrayXd& time, const Eigen::ArrayXXd& coordinates) {
  constexpr auto largest = static_cast<double>(std::numeric_limits<float>::max());
  const Eigen::Index count = time.size();
  Motion motion;
  motion.file = "sample";
  for (Eigen::Index s = 0; s < count; ++s) {
    motion.lines.push_back(static_cast<std::size_t>(s));
    if (!(std::abs(time[s]) <= largest) || !(coordinates.row(s).abs() <= largest).all()) {
      throw error_at(motion.file, motion.lines.back(), "expected finite numbers within single precision");
    }
    if (s > 0 && !(time[s] > time[s - 1])) {
      throw error_at(motion.file, motion.lines.back(), "expected a time above {}, found {}", time[s - 1], time[s]);
    }
  }
  motion.time = time;
  motion.elapsed = time - time[0];
  motion.position = coordinates.leftCols<3>();
  motion.orientation.resize(count, 4);
  for (Eigen::Index s = 0; s < count; ++s) {
    motion.orientation.row(s) = quaternion(coordinates(s, 3), coordinates(s, 4), coordinates(s, 5)).transpose();
  }
  make_continuous(motion.orientation);
  motion.joints = coordinates.rightCols(coordinates.cols() - 6);
  return motion;
}

void make_continuous(Eigen::ArrayX4d& quaternions) {
  Eigen::Vector4d last(1, 0, 0, 0);
  for (Eigen::Index s = 0; s < quaternions.rows(); ++s) {
    const Eigen::Vector4d q = quaternions.row(s).transpose();
    last = q.dot(last) < 0 ? Eigen::Vector4d(-q) : q;
    quaternions.row(s) = last.transpose();
  }
}

bool Motion::has_root() const {
  const auto is_root = [](const std::string& name) {
    return index_in(position_names, name) || index_in(angle_names, name) || index_in(quaternion_names, name);
  };
  return std::any_of(columns.begin(), columns.end(), is_root);
}

}  // namespace korvel::host
