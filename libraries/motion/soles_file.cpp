#include <array>
#include <cmath>
#include <map>
#include <stdexcept>

#include "motion/csv/csv_reader.h"
#include "motion/motion.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;
const Names columns{"body", "x", "y", "z", "friction"};

struct Corners {
  std::size_t line;  // of the first
  double friction;
  std::vector<Eigen::Vector3d> positions_body;
};

}  // namespace

std::vector<contact::Sole> read_soles(const std::filesystem::path& path, const Names& body_names) {
  std::vector<std::size_t> places;
  std::map<unsigned long, Corners> corners_of;
  const auto add_corner = [&](const CsvRow& row) {
    const std::string& name = row.fields[places[0]];
    const std::size_t index = index_of_name(path, row.line, name, body_names, "a body");
    std::array<double, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = read_number(path, row.line, columns[i + 1], row.fields[places[i + 1]]);
    }
    const auto [x, y, z, friction] = numbers;
    if (!(friction >= 0)) {
      throw error_at(path, row.line, "expected a friction of at least 0, found {}", friction);
    }
    Corners& corners = corners_of.try_emplace(index, Corners{row.line, friction, {}}).first->second;
    if (std::abs(friction - corners.friction) > 0) {
      throw error_at(path, row.line, "expected the friction {} of the other corners of {}, found {}", corners.friction,
                     name, friction);
    }
    corners.positions_body.emplace_back(x, y, z);
  };
  read_table(
      path, "corner of a sole", [&](const CsvRow& header) { places = places_of_columns(path, header, columns); },
      add_corner);
  std::vector<contact::Sole> soles;
  for (const auto& [body, corners] : corners_of) {
    try {
      soles.emplace_back(body, corners.positions_body, corners.friction);
    } catch (const std::invalid_argument& error) {
      throw error_at(path, corners.line, "{}: {}", body_names[body], error.what());
    }
  }
  return soles;
}

}  // namespace korvel::host
