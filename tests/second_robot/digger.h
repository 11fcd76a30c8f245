#pragma once

#include "metapod/models/model.h"

namespace korvel::tests {

/// The inertia of a part of the digger. KORVEL_DIGGER_MASSES makes the whole robot heavier or lighter.
constexpr metapod::Spatial::Inertia part(float mass, const metapod::Spatial::Vector3& com,
                                         const metapod::Spatial::Inertia::Symmetric& inertia) {
  constexpr float factor = KORVEL_DIGGER_MASSES;
  const auto scaled = [](float number) { return factor * number; };
  return metapod::Spatial::Inertia::from_center_of_mass(scaled(mass), com,
                                                        {scaled(inertia.xx), scaled(inertia.yx), scaled(inertia.yy),
                                                         scaled(inertia.zx), scaled(inertia.zy), scaled(inertia.zz)});
}

/// A small digger: on tracks a blade and a turret, on the turret a boom with stick and bucket, and a leaning mast that
/// carries two cameras. No limb is like another, nothing is a mirror image, and one name is the beginning of another.
/// The columns are those of the humanoid's table.
struct Digger {
  // clang-format off
  static constexpr metapod::models::BodyDescription bodies[] = {
      {"Tracks", metapod::models::no_parent, metapod::models::identity, {0, 0, 0},
       part(30, {-0.02F, 0.01F, -0.1F}, {0.9F, 0.01F, 1.1F, -0.02F, 0, 1.5F})},
      {"Turret", 0, metapod::models::identity, {-0.05F, 0, 0.15F},
       part(18, {-0.08F, 0.03F, 0.12F}, {0.4F, 0.02F, 0.5F, 0.01F, -0.01F, 0.6F})},
      {"Boom", 1, metapod::models::rows({1, 0, 0}, {0, 0, -1}, {0, 1, 0}), {0.12F, -0.06F, 0.1F},
       part(4, {0.3F, 0.05F, 0.01F}, {0.02F, -0.01F, 0.15F, 0, 0, 0.16F})},
      {"Stick", 2, metapod::models::rows({0.6F, 0.8F, 0}, {-0.8F, 0.6F, 0}, {0, 0, 1}), {0.62F, 0.04F, 0},
       part(2.5F, {0.18F, -0.02F, -0.01F}, {0.01F, 0.002F, 0.05F, 0, 0.001F, 0.05F})},
      {"Bucket", 3, metapod::models::identity, {0.4F, 0, 0.02F},
       part(1.5F, {0.08F, 0.06F, 0}, {0.006F, 0.001F, 0.008F, 0, 0, 0.009F})},
      {"Blade", 0, metapod::models::rows({0, 0, 1}, {1, 0, 0}, {0, 1, 0}), {0.35F, 0, -0.12F},
       part(5, {-0.04F, 0.16F, 0.02F}, {0.12F, 0.003F, 0.11F, 0, 0.002F, 0.03F})},
      {"Mast", 1, metapod::models::rows({0.8F, 0, -0.6F}, {0, 1, 0}, {0.6F, 0, 0.8F}), {-0.1F, 0.15F, 0.3F},
       part(0.8F, {0, 0.01F, 0.2F}, {0.012F, 0, 0.012F, 0.0001F, 0, 0.001F})},
      {"Camera", 6, metapod::models::rows({1, 0, 0}, {0, 0, -1}, {0, 1, 0}), {0.03F, -0.05F, 0.4F},
       part(0.2F, {0.02F, 0.01F, 0}, {0.0002F, 0, 0.0003F, 0, 0, 0.0003F})},
      {"Camera2", 6, metapod::models::rows({0, 1, 0}, {0, 0, 1}, {1, 0, 0}), {-0.02F, 0.06F, 0.35F},
       part(0.25F, {0, 0.02F, 0.02F}, {0.0003F, 0, 0.0002F, 0, 0, 0.0003F})},
  };
  // clang-format on
};

}  // namespace korvel::tests
