#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <stdexcept>

#include "batch/arguments.h"
#include "batch/refusal.h"
#include "contact/sole.h"

namespace korvel::batch {

GroundTable checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n) {
  require_pointer(ground, "ground");
  if (!std::isfinite(ground->height)) refuse(KORVEL_BATCH_VALUE, "height is not finite");
  if (ground->sole_count < 1 || ground->sole_count > body_count) {
    refuse(KORVEL_BATCH_COUNT, "sole_count is ", ground->sole_count,
           ": there must be at least one, and one a body at most");
  }
  require_pointer(ground->soles, "soles");
  std::vector<contact::Sole> soles;
  std::array<bool, body_count> has_sole{};
  for (std::ptrdiff_t i = 0; i < ground->sole_count; ++i) {
    const auto& [body, friction, corners, corner_count] = ground->soles[i];
    require_body(body);
    bool& is_taken = has_sole[static_cast<std::size_t>(body)];
    if (is_taken) refuse(KORVEL_BATCH_BODY, "body ", body, " has two soles");
    is_taken = true;
    if (corners == nullptr) refuse(KORVEL_BATCH_NULL, "corners of sole ", i, " is null");
    constexpr std::ptrdiff_t most_corners = 1000;
    if (corner_count < 3 || corner_count > most_corners) {
      refuse(KORVEL_BATCH_COUNT, "corner_count of sole ", i, " is ", corner_count,
             ": there must be at least 3, and at most ", most_corners);
    }
    std::vector<Eigen::Vector3d> points;
    for (std::ptrdiff_t k = 0; k < corner_count; ++k) {
      points.emplace_back(Eigen::Map<const Eigen::Vector3f>(corners + 3 * k).cast<double>());
    }
    try {
      soles.emplace_back(static_cast<unsigned long>(body), points, static_cast<double>(friction));
    } catch (const std::invalid_argument& refusal) {
      refuse(KORVEL_BATCH_VALUE, "sole ", i, ": ", refusal.what());
    }
  }
  Input contact{};
  if (ground->contact.data != nullptr) {
    contact = checked_input(&ground->contact, "contact", n, static_cast<int>(ground->sole_count));
  }
  return {static_cast<double>(ground->height), contact::table_of(soles), contact};
}

}  // namespace korvel::batch
