#pragma once

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/run/ground_cycle.h"

namespace korvel::host {

/// Summarises a run on the ground: whether the robot stays on its feet, when it does not, by how much and why, and how
/// near it is to that in the other samples.
class GroundSummary {
 public:
  GroundSummary(const Ground& ground, const tesk::RigidBodySystem& system);

  /// Takes in how the robot stands in the sample at `time` [s], the next one.
  void add(const Standing& standing, double time);

  /// Returns whether the ground supports every sample. Samples in flight that require nothing count as supported.
  bool is_borne_throughout() const { return spans_.empty(); }
  /// Returns "stays on its feet throughout", or the intervals in which the robot cannot stay on its feet. Before that
  /// stand the soles that are not at the height of the ground, and when the robot is in flight.
  std::string verdict_text() const;
  /// A table of margins, each with the time of its worst.
  std::string margins_text() const;
  /// Returns verdict and tables for programs.
  nlohmann::json json() const;
  /// The same with the `verdict` and the `tables` of the margins in the words of the two texts, for the report.
  nlohmann::json json_with_words() const;

 private:
  /// The largest or the smallest that was seen of something, and when.
  struct Extreme {
    double value = 0;
    double time = 0;
    bool seen = false;

    void add_most(double candidate, double at) {
      if (!seen || candidate > value) *this = {candidate, at, true};
    }
    void add_least(double candidate, double at) {
      if (!seen || candidate < value) *this = {candidate, at, true};
    }
    nlohmann::json json() const;
  };
  /// The items of a sole in contact. Those before `slip` are of the samples in which the robot stands, the others of
  /// all.
  enum SoleItem { most_load, least_load, friction_used, pressure_inside, slip, height, item_count };
  struct SoleSummary {
    std::string body;
    double friction;
    std::array<Extreme, item_count> items;
    bool is_below = false;  // the ground, where it is furthest from it
    bool contact = false;
    Eigen::Vector2d touchdown = Eigen::Vector2d::Zero();
  };
  /// Samples one after the other that the ground cannot bear for the same reason.
  struct Span {
    contact::Verdict verdict;
    double from, to;
    std::size_t last_sample;
    Extreme residual;
    std::string direction;  // of tipping, where the excess is largest
    Extreme excess;         // of the zero moment point beyond the polygon [m]
    Extreme pull;           // that the ground would have to exert [N]
    Extreme needed;         // the force [N]
    double friction_needed = 0;

    std::string reason() const;
    nlohmann::json json() const;
  };

  /// Soles that count as on the ground and are too far from it to be. [m] from the sole up to the ground.
  static constexpr double off_the_ground = 0.02;
  std::vector<const SoleSummary*> soles_off_the_ground() const;

  /// A line, or nothing.
  std::string flight() const;
  /// The verdict without its intervals.
  std::string headline() const;
  /// The tables of margins with their numbers in words: `heading`, `columns` and `rows`, each with its `words` and a
  /// cell for each column, `value` and `time`, or null.
  nlohmann::json tables() const;
  void add_to_spans(const Standing& standing, double time);
  void add_to_margins(const Standing& standing, double time);

  Ground ground_;
  double weight_;
  std::size_t samples_ = 0;
  std::size_t samples_in_flight_ = 0;
  double first_flight_ = 0;  // [s]
  double last_flight_ = 0;
  std::vector<Span> spans_;
  Extreme lowest_;            // corner of any sole, in contact or not, above the ground [m]
  bool has_contact_ = false;  // in any sample
  Extreme margin_;
  Extreme friction_needed_;
  std::vector<SoleSummary> soles_;
};

}  // namespace korvel::host
