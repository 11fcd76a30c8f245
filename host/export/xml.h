#pragma once

#include <Eigen/Geometry>
#include <initializer_list>
#include <pugixml.hpp>
#include <string>
#include <utility>

namespace korvel::host {

using Attributes = std::initializer_list<std::pair<const char*, std::string>>;

void set(pugi::xml_node node, Attributes attributes);

/// Adds an element to another one, or to the root of a document.
pugi::xml_node append(pugi::xml_node parent, const char* name, Attributes attributes = {});

/// Numbers as attributes have them, with blanks between: rounded to 1e-12, far below what single precision rounds, so
/// that nothing of the rounding of double precision shows.
std::string numbers(double value);
std::string numbers(const Eigen::Vector3d& v);
std::string numbers(const Eigen::Quaterniond& q);  ///< w first

/// Writes a number that may be small with as many digits as give the same value back.
std::string all_digits(double value);
std::string all_digits(const Eigen::Vector3d& v);

std::string to_string(const pugi::xml_document& document);

}  // namespace korvel::host
