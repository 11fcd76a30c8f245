// Every check finds the fault that it is there for.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ostream>

#include "validator/all_checks.h"
#include "validator/allocations/allocations.h"
#include "validator/core/check.h"

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
    {"loading.loads", "create throws", "an exception escaped: out"},
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

    {"state.initial-values", "starts bent", "after create: the position of joint angle 3"},
    {"state.initial-values", "starts loaded", "after inverse dynamics without wrenches: the torque"},
    {"state.unknown-names", "other words", "getBodyId threw 'unknown body'"},
    {"state.unknown-names", "names end at a null character", "getBodyId stops at a null character"},
    {"state.live-views", "stale view", "a view does not show what was set"},
    {"state.aligned-matrices", "misaligned matrix", "not at a multiple of 64 bytes"},
    {"state.destroy", "original must outlive clones", "it crashed: Aborted"},
    {"state.lower-triangle", "both triangles are read", "the upper triangle of the inertia of body 0"},
    {"state.last-inputs", "torques aside", "after inverse dynamics and the mass matrix"},

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
    {"laws.gravity", "gravity leans", "torques at rest of state"},
    {"laws.lagrange", "velocities are lost", "torques of state"},
    {"laws.lagrange", "velocities count twice", "torques of state"},
    {"laws.wrenches-are-local", "wrench reaches far", "with a wrench on body 24"},
    {"laws.wrenches-by-jacobian", "moment before force", "change of torques by the wrench on body"},
    {"laws.wrench-frames", "no lever arm", "torques of wrenches given in another frame"},
    {"laws.root-is-relative", "centre of mass moves with the root", "the centre of mass in the root of state"},
    {"laws.uniform-motion", "acceleration of the origin", "torques with a linear velocity of the root"},
    {"laws.mass-matrix-of-bodies", "inertias without products", "mass matrix of state"},
    {"laws.newton-euler", "inertias about the origin", "torques of state"},
    {"laws.newton-euler", "friction", "torques of state"},
    {"laws.newton-euler", "gravity of 9.80", "torques of state"},

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

    {"fuzz.short", "no body is the root", "the pose of the root's parent is not the identity"},
    {"fuzz.short", "swapped rates", "a velocity differs from the view"},
    {"fuzz.short", "last values instead of first", "the acceleration of joint angle"},
    {"fuzz.short", "one ulp off", "number 5 of the root velocity is"},
    {"fuzz.short", "bodies follow the root at once", "of the world pose of body 1 is"},
    {"fuzz.short", "coarse angles", "the root's rotation is not the one that was set"},
    {"fuzz.short", "wrenches are used up", "the torque of joint angle"},
    {"fuzz.short", "torques refresh poses", "of the world pose of body"},
    {"fuzz.short", "volatile frame follows the root", "of the volatile pose is"},
    {"fuzz.short", "clone without wrenches", "the torque of joint angle"},
    {"fuzz.short", "clone without past", "of the mass matrix is"},
    {"fuzz.short", "objects share a pose", "of the volatile pose is"},
    {"fuzz.short", "without no body nothing is left", "the mass without any body is not the total mass"},
    {"fuzz.short", "masses of its own", "the mass of a body is not the one that was set"},
    {"fuzz.short", "mass matrix is cached", "the mass matrix has not the robot's mass"},
    {"fuzz.short", "computes more", "of the mass matrix is"},
    {"fuzz.short", "ageing", "the torque of joint angle 7"},
    {"fuzz.short", "no body clears the jacobian", "a jacobian without any body has been written"},
    {"fuzz.short", "no body stays in the root", "without no body or the root, the centre of mass"},
    {"fuzz.short", "new storage", "the jacobian's storage has moved"},
    {"fuzz.recorded-bits", "last bit is lost", "the hash is"},
    {"fuzz.one-object", "a torque one ulp off", "questions about single values (object 0)"},
    {"fuzz.many-objects", "tired clones", "the acceleration of joint angle 23 is 0,"},
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
    if (sanitized && outcome.verdict == CheckVerdict::not_possible) GTEST_SKIP() << outcome.text;
    EXPECT_EQ(outcome.verdict, CheckVerdict::finding) << outcome.text;
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
    EXPECT_NE(outcome.verdict, CheckVerdict::finding) << check.id << ": " << outcome.text;
  });
}

#ifndef KORVEL_SANITIZED
// Without a size, realloc frees.
TEST(Allocations, AreCountedUntilTheyAreFreed) {
  const long live = allocations().live;
  void* volatile block = std::malloc(100);
  block = std::realloc(block, 200);
  EXPECT_EQ(allocations().live, live + 1);
  block = std::realloc(block, 0);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(allocations().live, live);
}
#endif

}  // namespace
}  // namespace korvel::validate
