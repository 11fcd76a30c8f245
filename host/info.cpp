#include <fmt/format.h>

#include <memory>
#include <string>

#include "host/commands.h"
#include "host/module.h"

namespace korvel::host {

namespace {

constexpr const char* conventions = R"(
units         m, rad, kg, s, N; single precision
coordinates   0 to 5 the root: x, y, z, then rotations about x, y, z; 6 + j joint angle j, the joint of body j + 1
orientation   of the root: Rz(yaw) Ry(pitch) Rx(roll), in the world
root rates    in the root frame, linear part first; the acceleration is the derivative of those six numbers
frames        root: the frame of body 0; world: where the root's pose is given, z up, gravity along -z
poses         [R | t] of a body in root or world: p of the body is R p + t there
jacobian      6 rows, angular first, root axes, point at the root's origin
com jacobian  of the robot without a body, times the mass that is left: the host divides
wrenches      force, then moment about the body's origin, both in the body frame
order         set joints and root; computeFwdKinematics; then poses, centre of mass, mass matrix and com jacobian;
              computeInverseDynamics takes the same inputs and the wrenches, and gives the torques
)";

void info(const std::filesystem::path& path) {
  const System system = Module(path).create();
  const auto parents = system->getParentsVector();
  const auto dof_numbers = system->getDofNumbersVector();
  const auto dof_indexes = system->getDofIndexesVector();

  fmt::print("{:>4}  {:<16}  {:<16}  {:<16}  {:>11}  {:>9}\n", "body", "name", "parent", "joint", "coordinates",
             "mass [kg]");
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    const auto parent = parents[b];
    const auto first = dof_indexes[b];
    const auto last = first + dof_numbers[b] - 1;
    fmt::print("{:>4}  {:<16}  {:<16}  {:<16}  {:>11}  {:>9.5f}\n", b, system->getBodyName(b),
               parent < 0 ? "-" : system->getBodyName(static_cast<unsigned long>(parent)),
               b == 0 ? system->getRootName() + " (free)" : system->getJointAngleName(b - 1),
               first == last ? fmt::format("{}", first) : fmt::format("{} to {}", first, last), system->getMass(b));
  }
  fmt::print("\n{} bodies, {} joint angles, total mass {:.5f} kg\n{}", system->getNbBodies(),
             system->getNbJointAngles(), system->getMass(), conventions);
}

}  // namespace

void addInfo(CLI::App& app) {
  CLI::App* command = app.add_subcommand("info", "Describe the robot of a module and the conventions of its interface");
  const auto module = std::make_shared<std::filesystem::path>(defaultModule());
  addModuleOption(*command, *module);
  command->callback([module] { info(*module); });
}

}  // namespace korvel::host
