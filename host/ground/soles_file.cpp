#include "host/ground/soles_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <stdexcept>

#include "host/io/csv_numbers.h"
#include "host/io/csv_reader.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;
const Names columns{"body", "x", "y", "z", "friction"};

struct Corners {
  std::size_t line;  // of the first
  double friction;
  std::vector<Eigen::Vector3d> positions;
};

/// Takes the rows of a file.
class Reader {
 public:
  Reader(const std::filesystem::path& path, const Names& body_names) : path_(path), body_names_(body_names) {}

  void add(const CsvRow& row) { places_.empty() ? add_header(row) : add_corner(row); }

  std::vector<contact::Sole> soles() const {
    if (places_.empty()) throw error_at(path_, 1, "expected a header row, found an empty file");
    if (corners_.empty())
      throw error_at(path_, header_line_ + 1, "expected a corner of a sole, found the end of the file");
    std::vector<contact::Sole> soles;
    for (const auto& [body, corners] : corners_) {
      try {
        soles.emplace_back(body, corners.positions, corners.friction);
      } catch (const std::invalid_argument& error) {
        throw error_at(path_, corners.line, fmt::format("{}: {}", body_names_[body], error.what()));
      }
    }
    return soles;
  }

 private:
  void add_header(const CsvRow& header) {
    check_names_differ(path_, header);
    for (const std::string& field : header.fields) {
      if (std::find(columns.begin(), columns.end(), field) != columns.end()) continue;
      throw error_at(path_, header.line,
                     fmt::format("expected the columns {}, found '{:.40}'", fmt::join(columns, ", "), field));
    }
    for (const std::string& name : columns) {
      const auto place = std::find(header.fields.begin(), header.fields.end(), name);
      if (place == header.fields.end()) {
        throw error_at(path_, header.line,
                       fmt::format("expected the columns {}, found no '{}'", fmt::join(columns, ", "), name));
      }
      places_.push_back(static_cast<std::size_t>(place - header.fields.begin()));
    }
    header_line_ = header.line;
  }

  void add_corner(const CsvRow& row) {
    if (row.fields.size() != columns.size()) {
      throw error_at(path_, row.line, fmt::format("expected {} columns, found {}", columns.size(), row.fields.size()));
    }
    const std::string& name = row.fields[places_[0]];
    const auto body = std::find(body_names_.begin(), body_names_.end(), name);
    if (body == body_names_.end()) {
      throw error_at(path_, row.line, fmt::format("expected the name of a body, found '{:.40}'", name));
    }
    std::array<double, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = read_number(path_, row.line, columns[i + 1], row.fields[places_[i + 1]]);
    }
    const auto [x, y, z, friction] = numbers;
    if (!(friction >= 0)) {
      throw error_at(path_, row.line, fmt::format("expected a friction of at least 0, found {}", friction));
    }
    const auto index = static_cast<unsigned long>(body - body_names_.begin());
    Corners& corners = corners_.try_emplace(index, Corners{row.line, friction, {}}).first->second;
    if (std::abs(friction - corners.friction) > 0) {
      throw error_at(path_, row.line,
                     fmt::format("expected the friction {} of the other corners of {}, found {}", corners.friction,
                                 name, friction));
    }
    corners.positions.emplace_back(x, y, z);
  }

  const std::filesystem::path& path_;
  const Names& body_names_;
  std::size_t header_line_ = 0;
  std::vector<std::size_t> places_;  // of `columns` in a row
  std::map<unsigned long, Corners> corners_;
};

}  // namespace

std::vector<contact::Sole> read_soles(const std::filesystem::path& path, const Names& body_names) {
  Reader reader(path, body_names);
  read_csv(path, [&](const CsvRow& row) { reader.add(row); });
  return reader.soles();
}

}  // namespace korvel::host
