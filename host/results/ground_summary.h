#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/ground/ground_cycle.h"

namespace korvel::host {

/// What a person wants to know of a robot that stands: whether it can, when it cannot, by how much and why; and how
/// near it is to that in the other samples.
class GroundSummary {
 public:
  /// `ground` outlives it.
  GroundSummary(const Ground& ground, const tesk::RigidBodySystem& system);

  /// Takes in how the robot stands in the sample at `time` [s], the next one.
  void add(const Standing& standing, double time);

  bool stands_throughout() const { return spans_.empty(); }
  /// "stands throughout", or a line for each span that it cannot stand; and what is not where the ground is.
  std::string verdict() const;
  /// A table of margins, each with the time of its worst.
  std::string margins() const;
  /// Both for programs.
  nlohmann::json json() const;

 private:
  /// The most, or the least, that was seen of something, and when.
  template <typename Beats>
  struct Extreme {
    double value = 0;
    double time = 0;
    bool seen = false;

    void add(double candidate, double at) {
      if (!seen || Beats()(candidate, value)) *this = {candidate, at, true};
    }
  };
  using Most = Extreme<std::greater<>>;
  using Least = Extreme<std::less<>>;
  /// Of one sole, over the samples in which it is in contact: its load where the robot stands, its place always.
  struct SoleMargins {
    std::string body;
    double friction_there_is;
    Least least_load;  // share of the weight
    Most most_load;
    Most friction;
    Least inside;           // of the centre of pressure, while there is load [m]
    Most slip;              // from where it touched down [m]
    Most height;            // of its lowest corner, above or below the ground [m]
    bool is_below = false;  // then
    bool contact = false;
    Eigen::Vector2d touchdown = Eigen::Vector2d::Zero();
  };
  /// Samples one after the other that the ground cannot bear for the same reason.
  struct Span {
    contact::Verdict verdict;
    double from, to;
    std::size_t last_sample;
    Most residual;
    std::string direction;  // of tipping, where the excess is largest
    Most excess;            // of the zero moment point beyond the polygon [m]
    Most pull;              // that the ground would have to exert [N]
    Most needed;            // the force [N]
    double friction_needed = 0;

    std::string reason() const;
  };

  /// Soles that count as on the ground and are too far from it to be. [m] from the sole up to the ground.
  static constexpr double off_the_ground = 0.02;
  std::vector<const SoleMargins*> soles_off_the_ground() const;

  void add_to_spans(const Standing& standing, double time);
  void add_to_margins(const Standing& standing, double time);

  const Ground& ground_;
  double weight_;
  std::size_t samples_ = 0;
  std::vector<Span> spans_;
  Least margin_;
  Most friction_needed_;
  std::vector<SoleMargins> soles_;
};

}  // namespace korvel::host
