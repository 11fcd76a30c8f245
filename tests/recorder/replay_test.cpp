// What a host did is in its recording, and a module that does otherwise is found by it.

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>

#include "contract/operations.h"
#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class Replay : public Recorded {};

TEST_F(Replay, EveryOperationFromEightThreadsGivesTheSameBitsOnBothModules) {
  ASSERT_EQ(record("operations 8"), 0);
  std::set<std::string> names;
  for (const auto& [name, calls] : calls_in(recording())) names.insert(name);
  for (const recording::OperationEntry& e : recording::all_operations) {
    EXPECT_EQ(names.count(e.name), e.number != operation_of<&Interface::setBodyInertia>) << e.name;
  }
  for (const char* module : {KORVEL_MODULE, KORVEL_PER_BODY_MODULE}) {
    const nlohmann::json json = replayed(recording(), fmt::format("--module '{}'", module));
    // As many as the host has called: 8 objects and their clones, poses of 25 bodies and of none for each of
    // 7 states.
    EXPECT_EQ(json["operations"]["create"]["calls"], 8);
    EXPECT_EQ(json["operations"]["clone"]["calls"], 8 * 7);
    EXPECT_EQ(json["operations"]["getPose"]["compared"], 8 * 7 * 26);
    EXPECT_EQ(json["gaps"], 0);
  }
}

// A module that ends the process differs in the call, and what that comes from can be cut out.
TEST_F(Replay, ACrashIsADifference) {
  ASSERT_EQ(record("operations 1"), 0);
  const std::string faulty = fmt::format("--module '{}on_request.so'", KORVEL_FAULTY_MODULES);
  const std::string crash = "export KORVEL_FAULT='crashes in the dynamics'";
  // That of the next file is told all the same.
  const Outcome both = replay(recording(), fmt::format("'{}' {}", recording().string(), faulty), crash);
  EXPECT_EQ(both.status, 1);
  const std::string words = "computeInverseDynamics()\nthe module fails now: it crashed: Aborted";
  const std::size_t first = both.out.find(words);
  EXPECT_NE(both.out.find(words, first + 1), std::string::npos) << both.out << both.err;
  const Outcome outcome = replay(recording(), faulty + " --cut cut.rec --json", crash);
  EXPECT_EQ(outcome.status, 1) << outcome.err;
  EXPECT_EQ(nlohmann::json::parse(outcome.out)["recordings"][0]["cut"]["differs"], true);
  EXPECT_EQ(replay("cut.rec").status, 0) << "with the module as it should be";
  expect_refused(fmt::format("replay '{}' {} --results results.csv", recording().string(), faulty),
                 "the module failed: call ", crash);
}

// The call that a host has ended in is not performed. What it had computed before is a row, although it set nothing.
TEST_F(Replay, ACallThatDidNotReturnIsNoSample) {
  shell_of_host("crash 2>/dev/null");
  expect_has(replay(recording()).out, "did not return: ");
  for (const char* options : {"--results", "--csv"}) {
    ASSERT_EQ(replay(recording(), fmt::format("{} rows.csv", options)).status, 0);
    EXPECT_EQ(columns_in("rows.csv").at("time").size(), 1U) << options;
    expect_refused(fmt::format("replay '{}' {} rows.csv --object 7", recording().string(), options),
                   "no computation of object 7 is recorded");
  }
  // How fast the clock ran is known from the beginning.
  const RecordingFile file(recording());
  EXPECT_GT(file.header().last.ticks, file.header().start.ticks);
}

// In whichever call a block begins, and with it what was set before.
TEST_F(Replay, ACycleIsOneSample) {
  constexpr int cycles = 600;
  ASSERT_EQ(record(fmt::format("cycles counter {}", cycles)), 0);
  ASSERT_EQ(replay(recording(), "--csv motion.csv").status, 0);
  EXPECT_EQ(columns_in<float>("motion.csv").at("time").size(), cycles);
}

// With the torques that it gave, at its own time.
TEST_F(Replay, EachComputationIsARowWhetherPositionsChangeOrNot) {
  ASSERT_EQ(record("standing 50"), 0);
  std::vector<double> times;
  std::vector<float> torques;
  each_call(recording(), [&](const RecordedCall& call) {
    if (call.is<&Interface::computeInverseDynamics>()) times.push_back(call.time);
    float torque = 0;
    std::memcpy(&torque, &call.header.result, sizeof(torque));
    if (call.is<&Interface::getJointAngleTorque>()) torques.push_back(torque);
  });
  ASSERT_EQ(std::set<float>(torques.begin(), torques.end()).size(), 50U);
  ASSERT_EQ(replay(recording(), "--results results.csv --csv motion.csv").status, 0);
  const std::string joint = RecordingFile(recording()).joints().at(12);
  EXPECT_EQ(columns_in("results.csv").at(joint + "_torque"), torques);
  for (const char* file : {"results.csv", "motion.csv"}) {
    const std::vector<double> found = columns_in<double>(file).at("time");
    ASSERT_EQ(found.size(), 50U) << file;
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], times[i], 1e-9) << file;
  }
}

// The times of a motion increase by a nanosecond at least, also where the clock has one time for two computations.
TEST_F(Replay, ComputationsAtOneTimeAreRowsOneAfterTheOther) {
  ASSERT_EQ(record("standing 50"), 0);
  std::string bytes = read(recording());
  std::uint64_t first = 0;
  each_call(recording(), [&](const RecordedCall& call) {
    if (first == 0) first = call.header.ticks;
    std::memcpy(&bytes[call.offset + offsetof(recording::RecordHeader, ticks)], &first, sizeof(first));
  });
  seal(bytes);
  write(directory_ / "same.rec", bytes);
  ASSERT_EQ(replay("same.rec", "--results results.csv --csv motion.csv").status, 0);
  for (const char* file : {"results.csv", "motion.csv"}) {
    const std::vector<double> times = columns_in<double>(file).at("time");
    EXPECT_EQ(std::set<double>(times.begin(), times.end()).size(), 50U) << file;
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << file;
  }
}

// Results are flushed to zero, or what goes in is, or both.
TEST_F(Replay, DenormalsAreTreatedAsTheHostTreatsThem) {
  ASSERT_EQ(record("denormals"), 0);
  std::set<int> treatments;
  each_call(recording(), [&](const RecordedCall& call) {
    treatments.insert(call.header.flags & (recording::flushes_denormals | recording::takes_denormals_as_zero));
  });
  EXPECT_EQ(treatments.size(), 4U);
  EXPECT_EQ(replay(recording()).status, 0);
}

// What a block begins with is nothing but inputs, in a file without checksums too.
TEST_F(Replay, WhatIsRestatedIsAnInput) {
  ASSERT_EQ(record("cycles counter 200"), 0);
  std::uint64_t restated = 0;
  RecordingFile(recording()).for_each([&](const RecordedCall& call) {
    if (call.has(recording::restated) && call.is<mass_of_robot>()) restated = call.offset;
    return restated == 0;
  });
  ASSERT_NE(restated, 0U);
  for (const Operation operation : {operation_of<&::destroy>, operation_of<&Interface::clone>}) {
    std::filesystem::copy_file(recording(), directory_ / "bad.rec", std::filesystem::copy_options::overwrite_existing);
    std::fstream file(directory_ / "bad.rec", std::ios::in | std::ios::out | std::ios::binary);
    const auto put = [&](std::uint64_t at, const std::string& bytes) {
      file.seekp(static_cast<std::streamoff>(at));
      file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    };
    put(offsetof(recording::FileHeader, ended), std::string(8, '\0'));
    put(offsetof(recording::FileHeader, checksum), std::string(8, '\0'));
    const std::uint64_t block = restated / recording::block_size * recording::block_size;
    put(block + offsetof(recording::BlockHeader, check), std::string(sizeof(recording::Check) * 2, '\0'));
    put(restated + offsetof(recording::RecordHeader, operation), std::string(1, static_cast<char>(operation)));
    file.close();
    const Outcome outcome = replay("bad.rec");
    expect_has(outcome.out, "block of calls incomplete");
    EXPECT_EQ(outcome.out.find("fails now"), std::string::npos) << outcome.out;
  }
}

// In which bits a number is none, builds differ.
TEST_F(Replay, WhatIsNotANumberIsTheSameOnBothModules) {
  ASSERT_EQ(record("'not finite'"), 0);
  const nlohmann::json statistics = replayed(recording(), "--stats")["statistics"];
  expect_has(statistics["remarks"].dump(), "results that are not finite");
  for (const char* module : {KORVEL_MODULE, KORVEL_PER_BODY_MODULE}) {
    const std::string found = replay(recording(), fmt::format("--json --module '{}'", module)).out;
    const nlohmann::json json = nlohmann::json::parse(found)["recordings"][0];
    EXPECT_GT(json["operations"]["getPose"]["compared"], 10);
    for (const auto& [operation, count] : json["operations"].items()) {
      // A zero between limbs that are computed together is a product there.
      const bool of_mass = operation.find("GeneralizedMass") != std::string::npos;
      EXPECT_TRUE(of_mass || count["different"] == 0) << operation;
    }
  }
}

TEST_F(Replay, InertiasAreSetAgain) {
  ASSERT_EQ(record("operations 1"), 0);
  EXPECT_EQ(replayed(recording())["operations"]["setBodyInertia"]["calls"], 25 * 7);
  // And those of one recording are not there for the next.
  const Outcome twice = replay(recording(), fmt::format("'{}'", recording().string()));
  EXPECT_EQ(twice.status, 0) << twice.out;
}

TEST_F(Replay, AFaultIsShownWithTheFirstCallThatHasItAndCutToWhatItComesFrom) {
  ASSERT_EQ(record("operations 2"), 0);
  const std::string faulty = fmt::format("--module '{}on_request.so'", KORVEL_FAULTY_MODULES);
  const std::map<std::string, std::string> shown_by{{"lost entry", "getGeneralizedMass"},
                                                    {"centre of mass is off", "computeFwdKinematicsExceptRoot"},
                                                    {"divided by the mass", "computePartialComJacobian"}};
  for (const auto& [fault, operation] : shown_by) {
    const std::string with_fault = fmt::format("export KORVEL_FAULT='{}'", fault);
    const Outcome found = replay(recording(), faulty + " --cut cut.rec", with_fault);
    EXPECT_EQ(found.status, 1) << found.err;
    expect_has(found.out, "First difference: call ");
    expect_has(found.out, operation + "(");
    expect_has(found.out, "recorded ");
    // Each kind of input once, and what computes: no more than that.
    std::size_t calls = 0;
    for (const auto& [name, count] : calls_in(directory_ / "cut.rec")) calls += count;
    EXPECT_LE(calls, 1U + 24U + 5U) << fault;
    EXPECT_EQ(replay("cut.rec").status, 0) << "with the module as it should be";
    EXPECT_EQ(replay("cut.rec", faulty, with_fault).status, 1);
    std::filesystem::remove(directory_ / "cut.rec");
  }
}

TEST_F(Replay, AMotionComesBackAsItWasSet) {
  std::string motion = "time,x,LKneePitch,RShoulderRoll\n";
  for (int i = 0; i < 40; ++i) motion += fmt::format("{},{},{},{}\n", 0.01 * i, 0.1 * i, 0.003 * i * i, -0.07 * i);
  write(directory_ / "given.csv", motion);
  const Outcome run = shell(environment("") + fmt::format("'{}' run given.csv -o results.csv --air --module '{}'",
                                                          KORVEL_HOST_EXECUTABLE, KORVEL_RECORDER));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(replay(recording()).status, 0);
  ASSERT_EQ(replay(recording(), "--csv motion.csv").status, 0);
  const auto given = columns_in<double>("given.csv");
  const auto set = columns_in<float>("motion.csv");
  ASSERT_EQ(set.at("time").size(), 40U);
  for (const char* column : {"x", "LKneePitch", "RShoulderRoll"}) {
    for (std::size_t i = 0; i < 40; ++i) {
      EXPECT_EQ(set.at(column)[i], static_cast<float>(given.at(column)[i])) << column << ", sample " << i;
    }
  }
  // A motion like any other.
  succeeded("run motion.csv -o again.csv --air");
  // With the rates that were set, so that the results are those of the run.
  ASSERT_EQ(replay(recording(), "--results recorded.csv").status, 0);
  auto results = columns_in<float>("results.csv");
  auto recorded = columns_in<float>("recorded.csv");
  EXPECT_EQ(results.erase("time"), recorded.erase("time"));
  EXPECT_EQ(recorded, results);
  EXPECT_EQ(host("report recorded.csv -o page.html").status, std::filesystem::exists(KORVEL_REPORT_PAGE) ? 0 : 2);
}

TEST_F(Replay, AMotionOfTheRootAloneIsOne) {
  ASSERT_EQ(record("root"), 0);
  ASSERT_EQ(replay(recording(), "--csv motion.csv").status, 0);
  const auto motion = columns_in<float>("motion.csv");
  EXPECT_EQ(std::set<float>(motion.at("x").begin(), motion.at("x").end()).size(), motion.at("x").size());
  EXPECT_EQ(motion.at("x").size(), 20U);
}

// What was set before it and not again holds on.
TEST_F(Replay, APartOfAMotionHasTheRowsOfTheWhole) {
  ASSERT_EQ(record("motion 40"), 0);
  ASSERT_EQ(replay(recording(), "--csv whole.csv").status, 0);
  const auto whole = columns_in<double>("whole.csv");
  const std::vector<double>& time = whole.at("time");
  ASSERT_EQ(time.size(), 40U);
  const std::string span = fmt::format("--from {} --to {}", (time[9] + time[10]) / 2, (time[29] + time[30]) / 2);
  ASSERT_EQ(replay(recording(), "--csv part.csv " + span).status, 0);
  for (const auto& [name, values] : columns_in<double>("part.csv")) {
    EXPECT_EQ(values, std::vector<double>(whole.at(name).begin() + 10, whole.at(name).begin() + 30)) << name;
  }
}

TEST_F(Replay, UnusableFilesAreNamedInOneLine) {
  ASSERT_EQ(record("mistakes"), 0);
  const std::string good = recording().string();
  write(directory_ / "text", "KORVEL");
  // The others are looked at all the same.
  for (const char* options : {"", "--stats", "--json"}) {
    const Outcome outcome = replay("text", fmt::format("'{}' {}", good, options));
    EXPECT_EQ(outcome.status, 2);
    expect_has(outcome.err, "text: ");
    expect_has(outcome.out, good);
  }
  for (const char* file : {"text", "nothing", ".", KORVEL_MODULE})
    expect_refused(fmt::format("replay '{}'", file), file);
}

}  // namespace
}  // namespace korvel::host
