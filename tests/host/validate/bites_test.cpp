// Every check finds the fault that it is there for.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ostream>

#include "host/validate/all_checks.h"
#include "host/validate/core/runner.h"

namespace korvel::validate {
namespace {

#ifdef KORVEL_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

struct Fault {
  const char* check;
  const char* name;   ///< in a module that makes faults on request
  const char* words;  ///< part of what is reported
  const char* module = "on_request";
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.module; }

constexpr Fault faults[] = {
    {"loading.exports", nullptr, "is exported as well", "exports"},
    {"loading.dependencies", nullptr, "it needs libresolv.so", "dependencies"},
    {"loading.protection", nullptr, "it asks for an executable stack", "protection"},
    {"loading.loads", "create aborts", "it crashed: Aborted"},
    {"loading.loads", "create exits", "it ended the process with exit status 0"},
    {"loading.loads", "create returns nothing", "create returned a null pointer"},
    {"loading.loads", "create throws", "an exception escaped: out of order"},
    {"loading.loads", "create throws a number", "an exception escaped that is no std::exception"},
    {"loading.unloads", "stays in memory", "it is still mapped after the last object"},
    {"loading.copies", "copies abort", "it crashed: Aborted"},
    {"loading.copies", "copies share the mass", "a mass of one is seen by the other"},
    {"loading.counts", "no volatile frame", "no volatile frame"},
    {"loading.counts", "short view", "23 velocities, expected 24"},
    {"loading.names", "ids off by one", "is found at 1 instead of 0"},
    {"loading.names", "names end with the object", "did not outlive the object"},
    {"loading.topology", "parent after child", "body 5 has parent 7"},
    {"loading.topology", "indexes of bodies for those of coordinates", "body 1 begins at coordinate 1, expected 6"},

    {"state.initial-values", "starts bent", "after create: joint position 3"},
    {"state.initial-values", "starts loaded", "after inverse dynamics without wrenches: torque"},
    {"state.identity-poses", "no body is the root", "the world's pose moves"},
    {"state.unknown-names", "other words", "getBodyId threw 'unknown body'"},
    {"state.unknown-names", "names end at a null character", "getBodyId stops at a null character"},
    {"state.live-views", "stale view", "a view does not show what was set"},
    {"state.joint-setters", "swapped rates", "joint velocity 0 reads"},
    {"state.joint-vectors", "last values instead of first", "after setting every joint acceleration from 25 values"},
    {"state.root-rates", "one ulp off", "after setRootVelocity: root velocity 0, number 5"},
    {"state.root-pose", "bodies follow the root at once", "after setRootPose: world pose 1"},
    {"state.root-pose", "coarse angles", "an entry of the root's rotation reads"},
    {"state.wrenches", "wrenches add up", "new wrenches and inverse dynamics"},
    {"state.wrenches", "wrenches are used up", "new wrenches and inverse dynamics"},
    {"state.stored-poses", "torques refresh poses", "overwritten too early"},
    {"state.volatile-frames", "volatile frame follows the root", "volatile frame 0 does not read back"},
    {"state.aligned-matrices", "misaligned matrix", "not at a multiple of 64 bytes"},
    {"state.clone", "clone without wrenches", "after clone and computeInverseDynamics"},
    {"state.clone", "clone without past", "after clone and computeGeneralizedMass"},
    {"state.clone-independence", "clone shares a pose", "a change of the clone changes its original"},
    {"state.independence", "objects share a pose", "a change of one object changes another"},
    {"state.destroy", "original must outlive clones", "it crashed: Aborted"},
    {"state.total-mass", "mass of creation", "the total mass is"},
    {"state.total-mass", "without no body nothing is left", "getPartialMass(25) is not the total"},
    {"state.shared-masses", "masses of its own", "is not seen by another"},
    {"state.new-inertias", "mass matrix is cached", "after new inertias and every computation: mass matrix"},
    {"state.lower-triangle", "both triangles are read", "the upper triangle of the inertia of body 0"},
    {"state.computations", "computes more", "after computeFwdKinematicsExceptRoot, seed 1: mass matrix"},
    {"state.no-past", "ageing", "torque 7"},
    {"state.last-inputs", "torques aside", "after inverse dynamics and the mass matrix"},
    {"state.partial-indices", "no body clears the jacobian", "changes a jacobian of 7 columns"},
    {"state.partial-indices", "no body stays in the root", "computePartialComPositionInRoot(0) is not"},
    {"state.com-jacobian", "new storage", "a jacobian of 90 coefficients was reallocated"},

    {"laws.poses-are-rigid", "stretched pose", "R R' of body 12"},
    {"laws.poses-are-rigid", "mirrored pose", "the pose of body 12 of state 1 is a mirror"},
    {"laws.world-poses", "pose stays in the root", "pose of body 3"},
    {"laws.centres-of-mass", "centre of mass is off", "centre of mass in the root"},
    {"laws.jacobian", "turned column", "jacobian column of joint angle 4"},
    {"laws.mass-matrix-positive", "asymmetric entry", "and its transpose differ"},
    {"laws.mass-matrix-positive", "negative entry", "has the eigenvalue -"},
    {"laws.mass-matrix-limbs", "coupled arms", "mass matrix between another limb and body 20"},
    {"laws.mass-matrix-momentum", "lost entry", "linear momentum of the mass matrix"},
    {"laws.partial-com-jacobian", "divided by the mass", "linear columns without body 0"},
    {"laws.mass-matrix-torques", "armature", "torques of a unit acceleration of coordinate 9"},
    {"laws.torques-superpose", "friction", "torques of velocities times -2"},
    {"laws.gravity", "gravity upwards", "torques at rest of state"},
    {"laws.lagrange", "velocities are lost", "torques of state"},
    {"laws.power-balance", "velocities count twice", "power of state"},
    {"laws.wrenches-are-local", "wrench reaches far", "with a wrench on body 24"},
    {"laws.wrenches-by-jacobian", "moment before force", "change of torques by the wrench on body"},
    {"laws.wrench-frames", "no lever arm", "torques of wrenches given in another frame"},
    {"laws.root-is-relative", "centre of mass moves with the root", "the centre of mass in the root of state"},
    {"laws.place-and-heading", "gravity leans", "torques with the root at another place and heading"},
    {"laws.uniform-motion", "acceleration of the origin", "torques with a linear velocity of the root"},
    {"laws.free-fall", "gravity of 9.80", "torques in free fall"},
    {"laws.mirror-images", "one side is stronger", "torques of the mirror image"},
    {"laws.mass-matrix-of-bodies", "inertias without products", "mass matrix of state"},
    {"laws.newton-euler", "inertias about the origin", "torques of state"},

    {"real-time.allocates-nothing", "allocates", "computeInverseDynamics, state 0: 1 allocations"},
    {"real-time.locks-nothing", "locks", "computeGeneralizedMass, state 0: 1 locks"},
    {"real-time.makes-no-system-call", "calls the system",
     "computeFwdKinematicsOnlyRoot, state 0: makes a system call"},
    {"real-time.faults-no-page", "touches new pages", "computeFwdKinematicsExceptRoot: at least 1000 page faults"},
    {"real-time.needs-little-stack", "deep stack", "computeInverseDynamics needs"},
    {"faults.survives-exhaustion", "clone leaks", "clone, allocation 2 fails: 1 blocks are left"},
    {"faults.survives-exhaustion", "clone throws another exception", "clone, allocation 1 fails: not std::bad_alloc"},
    {"faults.survives-exhaustion", "clone returns nothing", "clone, allocation 1 fails: no exception"},
    {"faults.survives-exhaustion", "jacobian is lost", "the jacobian is not what it was"},
    {"faults.survives-reloads", "stays in memory", "cycle 1: other inertias or other results"},
    {"threads.own-objects", "inputs rest outside", "not the bits of a single thread"},
    {"floating-point.raises-nothing", "divides zero by zero", "computeGeneralizedMass, state 0: raises invalid"},
    {"floating-point.keeps-control", "rounds upwards", "computeFwdKinematicsExceptRoot: control register"},
    {"floating-point.bears-flush-to-zero", "denormal number on the way", "0 instead of -"},
    {"floating-point.bears-traps", "overflows", "computeFwdKinematicsOnlyRoot, state 0: Floating point exception"},

    {"fuzz.recorded-bits", "last bit is lost", "the hash is"},
    {"fuzz.one-object", "a torque one ulp off", "questions about single values (object 0)"},
    {"fuzz.many-objects", "tired clones", "the acceleration of joint angle 23 is 0x0p+0"},
};

Check check(const std::string& id) {
  for (Check& candidate : all_checks()) {
    if (candidate.id == id) return std::move(candidate);
  }
  throw std::invalid_argument("no check is called " + id);
}

class Bites : public testing::TestWithParam<Fault> {
 protected:
  ~Bites() override { unsetenv("KORVEL_FAULT"); }
};

TEST_P(Bites, ReportsItsFault) {
  const auto& [id, name, words, module] = GetParam();
  if (name != nullptr) setenv("KORVEL_FAULT", name, 1);
  const std::string path = std::string(KORVEL_FAULTY_MODULES) + module + ".so";
  run_checks({check(id)}, {path, 1}, 1, [words = words](const Check&, const Outcome& outcome) {
    if (sanitized && outcome.verdict == Verdict::not_possible) GTEST_SKIP() << outcome.text;
    EXPECT_EQ(outcome.verdict, Verdict::finding) << outcome.text;
    // A sanitizer may be the first to speak.
    if (!sanitized) {
      EXPECT_NE(outcome.text.find(words), std::string::npos) << outcome.text;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(EveryCheck, Bites, testing::ValuesIn(faults), [](const auto& fault) {
  std::string name =
      fault.param.check + std::string("_by_") + (fault.param.name != nullptr ? fault.param.name : "file");
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

TEST(EveryCheck, HasAFault) {
  for (const Check& check : all_checks()) {
    EXPECT_TRUE(std::any_of(std::begin(faults), std::end(faults), [&](const Fault& f) { return check.id == f.check; }))
        << check.id << ": which fault does it find?";
  }
}

// What is reported is the fault, not the way in which it is made.
TEST(EveryCheck, FindsNothingWithoutAFault) {
  Checks checks = all_checks();
  checks.erase(std::remove_if(checks.begin(), checks.end(), [](const Check& c) { return c.level > 4; }), checks.end());
  checks.push_back(check("fuzz.recorded-bits"));
  run_checks(checks, {KORVEL_FAULTY_MODULES "on_request.so", 1}, 2, [](const Check& check, const Outcome& outcome) {
    EXPECT_NE(outcome.verdict, Verdict::finding) << check.id << ": " << outcome.text;
  });
}

}  // namespace
}  // namespace korvel::validate
