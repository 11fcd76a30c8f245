#include "host/results/ground_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

namespace korvel::host {

namespace {

using contact::Verdict;
using Json = nlohmann::json;

constexpr std::size_t most_spans_in_words = 20;

double millimetres(double metres) { return 1e3 * metres; }

/// Where a vector in the ground points, as the robot sees it.
const char* direction_of(const Eigen::Vector2d& vector, const Eigen::Isometry3d& root) {
  // Forward is where the root's x axis points, or where its y axis has to its left, whichever lies more in the ground.
  const Eigen::Vector2d x = root.linear().col(0).head<2>();
  const Eigen::Vector2d y = root.linear().col(1).head<2>();
  const Eigen::Vector2d forward = x.norm() > y.norm() ? x.normalized() : Eigen::Vector2d(y.y(), -y.x()).normalized();
  const Eigen::Vector2d left(-forward.y(), forward.x());
  const double along = vector.dot(forward);
  const double across = vector.dot(left);
  if (std::abs(along) >= std::abs(across)) return along > 0 ? "forward" : "backward";
  return across > 0 ? "to the left" : "to the right";
}

const char* name_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::stands:
      return "stands";
    case Verdict::nothing_bears:
      return "no contact";
    case Verdict::needs_pull:
      return "needs a pull";
    case Verdict::tips:
      return "tips";
    case Verdict::slips:
      return "slips";
  }
  return "";
}

/// Infinity has no number in JSON.
Json number(double value) { return std::isfinite(value) ? Json(value) : Json(); }

template <typename Extreme>
Json extreme(const Extreme& extreme) {
  if (!extreme.seen) return Json();
  return {{"value", number(extreme.value)}, {"time", extreme.time}};
}

}  // namespace

GroundSummary::GroundSummary(const Ground& ground, const tesk::RigidBodySystem& system)
    : ground_(ground), weight_(weight_of(system)) {
  for (const contact::Sole& sole : ground.soles) {
    SoleMargins margins;
    margins.body = system.getBodyName(sole.body());
    margins.friction_there_is = sole.friction();
    soles_.push_back(std::move(margins));
  }
}

void GroundSummary::add(const Standing& standing, double time) {
  if (standing.stance.verdict != Verdict::stands) add_to_spans(standing, time);
  add_to_margins(standing, time);
  ++samples_;
}

void GroundSummary::add_to_spans(const Standing& standing, double time) {
  const contact::Stance& stance = standing.stance;
  const bool goes_on =
      !spans_.empty() && spans_.back().last_sample + 1 == samples_ && spans_.back().verdict == stance.verdict;
  if (!goes_on) {
    spans_.emplace_back();
    spans_.back().verdict = stance.verdict;
    spans_.back().from = time;
  }
  Span& span = spans_.back();
  span.to = time;
  span.last_sample = samples_;
  span.residual.add(stance.residual, time);
  if (stance.verdict == Verdict::tips && (!span.excess.seen || -stance.margin > span.excess.value)) {
    span.direction = direction_of(stance.excess, standing.root);
  }
  span.excess.add(-stance.margin, time);
  span.pull.add(-stance.required.force.z(), time);
  span.needed.add(stance.required.force.norm(), time);
  if (stance.verdict == Verdict::slips) {
    span.friction_needed = contact::least_friction(stance.required, stance.points, weight_, span.friction_needed);
  }
}

void GroundSummary::add_to_margins(const Standing& standing, double time) {
  const contact::Stance& stance = standing.stance;
  if (!stance.points.empty()) {
    margin_.add(stance.margin, time);
    if (stance.verdict == Verdict::stands) {
      friction_needed_.add(contact::least_friction(stance.required, stance.points, weight_, friction_needed_.value),
                           time);
    }
  }
  for (std::size_t i = 0; i < soles_.size(); ++i) {
    SoleMargins& sole = soles_[i];
    const contact::SoleState& state = standing.soles[i];
    const contact::SoleLoad& load = stance.soles[i];
    const Eigen::Vector2d place = standing.in_world((state.pose * ground_.soles[i].centre()).head<2>());
    if (state.contact && !sole.contact) sole.touchdown = place;
    sole.contact = state.contact;
    if (!state.contact) continue;
    if (stance.verdict == Verdict::stands) {
      sole.least_load.add(load.wrench.force.z() / weight_, time);
      sole.most_load.add(load.wrench.force.z() / weight_, time);
      sole.friction.add(load.friction, time);
      if (load.wrench.force.z() > contact::least_load * weight_) sole.inside.add(load.inside, time);
    }
    sole.slip.add((place - sole.touchdown).norm(), time);
    const double lowest = (state.pose * ground_.soles[i].lowest_corner(state.pose)).z();
    const double height = standing.root.translation().z() + lowest - ground_.height;
    sole.height.add(std::abs(height), time);
    if (std::abs(height) >= sole.height.value) sole.is_below = height < 0;
  }
}

std::string GroundSummary::Span::reason() const {
  switch (verdict) {
    case Verdict::stands:
      break;
    case Verdict::nothing_bears:
      return fmt::format("no sole is on the ground, {:.3g} N are needed", needed.value);
    case Verdict::needs_pull:
      return fmt::format("needs a pull of {:.3g} N", std::max(0.0, pull.value));
    case Verdict::tips:
      return fmt::format("tips {} by {:.3g} mm", direction, millimetres(excess.value));
    case Verdict::slips:
      if (!std::isfinite(friction_needed)) return "slips, whatever the friction";
      return fmt::format("slips, needs a friction of {:.3g}", friction_needed);
  }
  return "";
}

std::vector<const GroundSummary::SoleMargins*> GroundSummary::soles_off_the_ground() const {
  std::vector<const SoleMargins*> soles;
  for (const SoleMargins& sole : soles_) {
    if (sole.height.seen && sole.height.value > off_the_ground) soles.push_back(&sole);
  }
  return soles;
}

std::string GroundSummary::verdict() const {
  // Whatever follows is of a robot whose soles bear where they are.
  std::string off;
  for (const SoleMargins* sole : soles_off_the_ground()) {
    off +=
        fmt::format("{} counts as on the ground {:.3g} mm {} it, at {:.3f} s: --ground says where the ground is\n",
                    sole->body, millimetres(sole->height.value), sole->is_below ? "below" : "above", sole->height.time);
  }
  if (stands_throughout())
    return off + (off.empty() ? "stands throughout\n" : "stands throughout, if there were ground\n");
  std::string text =
      off + fmt::format("cannot be stood as it is, in {} {}:\n", spans_.size(), spans_.size() == 1 ? "span" : "spans");
  const auto out = std::back_inserter(text);
  for (std::size_t i = 0; i < std::min(spans_.size(), most_spans_in_words); ++i) {
    const Span& span = spans_[i];
    fmt::format_to(out, "  {:.3f} to {:.3f} s  {}; {:.3g} of the weight is missing at {:.3f} s\n", span.from, span.to,
                   span.reason(), span.residual.value, span.residual.time);
  }
  if (spans_.size() > most_spans_in_words) fmt::format_to(out, "  and {} more\n", spans_.size() - most_spans_in_words);
  return text;
}

std::string GroundSummary::margins() const {
  std::string text;
  const auto out = std::back_inserter(text);
  const auto line = [&](std::string_view what, const std::string& value, const std::string& at) {
    fmt::format_to(out, "  {:<42}  {:>22}  {:>8}\n", what, value, at);
  };
  const auto add = [&](std::string_view what, const auto& extreme, const auto& format, double factor) {
    if (!extreme.seen) return line(what, "-", "");
    line(what, fmt::format(fmt::runtime(format), factor * extreme.value), fmt::format("{:.3f}", extreme.time));
  };
  fmt::format_to(out, "{:<44}  {:>22}  {:>8}\n", "margins where it stands, at their worst", "", "at [s]");
  add("zero moment point inside the support", margin_, "{:.1f} mm", 1e3);
  add("least friction that would do", friction_needed_, "{:.3f}", 1);
  for (const SoleMargins& sole : soles_) {
    fmt::format_to(out, "{}\n", sole.body);
    add("most load", sole.most_load, "{:.3f} of the weight", 1);
    add("least load", sole.least_load, "{:.3f} of the weight", 1);
    add("friction used", sole.friction, fmt::format("{{:.3f}} of {:.3g}", sole.friction_there_is), 1);
    add("centre of pressure inside the sole", sole.inside, "{:.1f} mm", 1e3);
    add("slip while on the ground", sole.slip, "{:.1f} mm", 1e3);
    add("off the ground while it counts as on it", sole.height, "{:.1f} mm", 1e3);
  }
  return text;
}

Json GroundSummary::json() const {
  Json spans = Json::array();
  for (const Span& span : spans_) {
    Json one{{"from", span.from},
             {"to", span.to},
             {"why", name_of(span.verdict)},
             {"text", span.reason()},
             {"missing", extreme(span.residual)}};
    if (span.verdict == Verdict::tips) one.update({{"direction", span.direction}, {"excess", extreme(span.excess)}});
    if (span.verdict == Verdict::slips) one["friction_needed"] = number(span.friction_needed);
    spans.push_back(std::move(one));
  }
  Json soles = Json::array();
  for (const SoleMargins& sole : soles_) {
    soles.push_back({{"body", sole.body},
                     {"most_load", extreme(sole.most_load)},
                     {"least_load", extreme(sole.least_load)},
                     {"friction_used", extreme(sole.friction)},
                     {"friction", sole.friction_there_is},
                     {"pressure_inside", extreme(sole.inside)},
                     {"slip", extreme(sole.slip)},
                     {"height", extreme(sole.height)}});
  }
  Json off = Json::array();
  for (const SoleMargins* sole : soles_off_the_ground()) off.push_back(sole->body);
  return {
      {"stands_throughout", stands_throughout()},
      {"off_the_ground", std::move(off)},
      {"cannot_stand", std::move(spans)},
      {"margins",
       {{"zmp_inside", extreme(margin_)}, {"least_friction", extreme(friction_needed_)}, {"soles", std::move(soles)}}}};
}

}  // namespace korvel::host
