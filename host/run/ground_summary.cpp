#include "host/run/ground_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

using contact::Verdict;
using Json = nlohmann::json;

constexpr std::size_t most_intervals_shown = 20;

double millimetres(double metres) { return 1e3 * metres; }

/// Returns the direction of a vector in the ground plane, as the robot sees it.
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

/// Why the ground cannot bear a sample.
const std::map<Verdict, const char*> causes{{Verdict::nothing_bears, "no contact"},
                                            {Verdict::needs_pull, "needs a pull"},
                                            {Verdict::tips, "tips"},
                                            {Verdict::slips, "slips"}};

/// Infinity has no number in JSON.
Json number(double value) { return std::isfinite(value) ? Json(value) : Json(); }

/// The items of a sole: their keys for programs, and for people their words, the format of a number and its factor.
constexpr struct {
  const char* key;
  const char* words;
  const char* format;
  double factor;
} items[] = {
    {"most_load", "largest load, of the weight", "{:.1f} %", 100},
    {"least_load", "smallest load, of the weight", "{:.1f} %", 100},
    {"friction_used", "friction used", "{:.3f}", 1},
    {"pressure_inside", "pressure point to edge of sole", "{:.1f} mm", 1e3},
    {"slip", "slip in contact", "{:.1f} mm", 1e3},
    {"height", "distance from the ground", "{:.1f} mm", 1e3},
};

}  // namespace

Json GroundSummary::Extreme::json() const { return seen ? Json{{"value", number(value)}, {"time", time}} : Json(); }

GroundSummary::GroundSummary(const Ground& ground, const tesk::RigidBodySystem& system)
    : ground_(ground), weight_(weight_of(system)) {
  for (const contact::Sole& sole : ground.soles) {
    soles_.push_back({system.getBodyName(sole.body()), sole.friction(), {}});
  }
}

void GroundSummary::add(const Standing& standing, double time) {
  if (standing.stance.verdict == Verdict::in_flight) {
    if (samples_in_flight_++ == 0) first_flight_ = time;
    last_flight_ = time;
  } else if (standing.stance.verdict != Verdict::stands) {
    add_to_spans(standing, time);
  }
  add_to_margins(standing, time);
  ++samples_;
}

void GroundSummary::add_to_spans(const Standing& standing, double time) {
  const contact::Stance& stance = standing.stance;
  const bool goes_on =
      !spans_.empty() && spans_.back().last_sample + 1 == samples_ && spans_.back().verdict == stance.verdict;
  if (!goes_on) spans_.push_back({stance.verdict, time, time, samples_, {}, {}, {}, {}, {}});
  Span& span = spans_.back();
  span.to = time;
  span.last_sample = samples_;
  span.residual.add_most(stance.residual, time);
  if (stance.verdict == Verdict::tips && (!span.excess.seen || -stance.margin > span.excess.value)) {
    span.direction = direction_of(stance.excess_world, standing.root);
  }
  span.excess.add_most(-stance.margin, time);
  span.pull.add_most(-standing.required_world.force.z(), time);
  span.needed.add_most(standing.required_world.force.norm(), time);
  if (stance.verdict == Verdict::slips) {
    span.friction_needed = contact::least_friction(stance.loads, span.friction_needed);
  }
}

void GroundSummary::add_to_margins(const Standing& standing, double time) {
  const contact::Stance& stance = standing.stance;
  if (stance.verdict == Verdict::stands) {
    margin_.add_least(stance.margin, time);
    friction_needed_.add_most(contact::least_friction(stance.loads, friction_needed_.value), time);
  }
  for (std::size_t i = 0; i < soles_.size(); ++i) {
    SoleSummary& sole = soles_[i];
    const contact::SoleState& state = standing.soles[i];
    const contact::SoleLoad& load = stance.soles[i];
    const Eigen::Vector2d place = standing.in_world((state.pose_world * ground_.soles[i].centre_body()).head<2>());
    const double lowest = (state.pose_world * ground_.soles[i].lowest_corner_body(state.pose_world)).z();
    const double above = standing.root.translation().z() + lowest - ground_.height;
    lowest_.add_least(above, time);
    const bool contact = state.share > 0;
    has_contact_ |= contact;
    if (contact && !sole.contact) sole.touchdown = place;
    sole.contact = contact;
    if (!contact) continue;
    if (stance.verdict == Verdict::stands) {
      const double share = load.wrench_world.force.z() / weight_;
      sole.items[most_load].add_most(share, time);
      sole.items[least_load].add_least(share, time);
      sole.items[friction_used].add_most(load.friction, time);
      if (load.wrench_world.force.z() > contact::least_load * weight_) {
        sole.items[pressure_inside].add_least(load.inside, time);
      }
    }
    sole.items[slip].add_most((place - sole.touchdown).norm(), time);
    sole.items[height].add_most(std::abs(above), time);
    if (std::abs(above) >= sole.items[height].value) sole.is_below = above < 0;
  }
}

std::string GroundSummary::Span::reason() const {
  if (verdict == Verdict::nothing_bears)
    return fmt::format("no sole touches the ground, {:.3g} N needed", needed.value);
  if (verdict == Verdict::needs_pull)
    return fmt::format("the ground would have to pull with {:.3g} N", std::max(0.0, pull.value));
  if (verdict == Verdict::tips) return fmt::format("tips {} by {:.3g} mm", direction, millimetres(excess.value));
  if (!std::isfinite(friction_needed)) return "slips with any friction";
  return fmt::format("slips, needs a friction of {:.3g}", friction_needed);
}

std::vector<const GroundSummary::SoleSummary*> GroundSummary::soles_off_the_ground() const {
  std::vector<const SoleSummary*> soles;
  for (const SoleSummary& sole : soles_) {
    if (sole.items[height].seen && sole.items[height].value > off_the_ground) soles.push_back(&sole);
  }
  return soles;
}

std::string GroundSummary::flight() const {
  if (samples_in_flight_ == 0) return "";
  if (samples_in_flight_ == samples_) return "in flight throughout: no sole is near the ground\n";
  return fmt::format(
      "in flight in {} of {} samples, the first at {:.3f} s, the last at {:.3f} s:\n  no sole is near the ground\n",
      samples_in_flight_, samples_, first_flight_, last_flight_);
}

std::string GroundSummary::headline() const {
  std::string text;
  const auto out = std::back_inserter(text);
  for (const SoleSummary* sole : soles_off_the_ground()) {
    const Extreme& furthest = sole->items[height];
    fmt::format_to(out,
                   "the sole of {} counts as in contact {:.3g} mm {} the ground\n  at {:.3f} s; set --ground, or z in "
                   "the motion\n",
                   sole->body, millimetres(furthest.value), sole->is_below ? "below" : "above", furthest.time);
  }
  if (!has_contact_ && lowest_.value > ground_.bounds.height) {
    fmt::format_to(
        out, "the lowest sole is {:.1f} mm above the ground (at {:.3f} s);\n  --ground {:.4f} puts the ground there\n",
        millimetres(lowest_.value), lowest_.time, ground_.height + lowest_.value);
  }
  const char* condition = text.empty() ? "" : ", provided that the ground is at its soles";
  text += flight();
  if (!spans_.empty()) {
    return text + fmt::format("the robot cannot stay on its feet: {}\n", counted(spans_.size(), "interval"));
  }
  if (samples_in_flight_ == samples_) return text;
  return text + fmt::format("stays on its feet {}{}\n", samples_in_flight_ == 0 ? "throughout" : "in all other samples",
                            condition);
}

std::string GroundSummary::verdict_text() const {
  std::string text = headline();
  const auto out = std::back_inserter(text);
  for (std::size_t i = 0; i < std::min(spans_.size(), most_intervals_shown); ++i) {
    const Span& span = spans_[i];
    fmt::format_to(out, "  {:.3f} to {:.3f} s  {};\n    {:.1f} % of the weight unsupported at {:.3f} s\n", span.from,
                   span.to, span.reason(), 100 * span.residual.value, span.residual.time);
  }
  if (spans_.size() > most_intervals_shown)
    fmt::format_to(out, "  and {} more\n", spans_.size() - most_intervals_shown);
  return text;
}

Json GroundSummary::tables() const {
  const double friction = soles_.front().friction;
  const bool same = std::all_of(soles_.begin(), soles_.end(), [&](const SoleSummary& sole) {
    return !(sole.friction < friction || sole.friction > friction);
  });
  const std::string available = same ? fmt::format(", of {:.3g}", friction) : "";
  const auto row = [](const std::string& words, const char* format, double factor,
                      const std::vector<Extreme>& extremes) {
    Json cells = Json::array();
    for (const auto& [value, time, seen] : extremes) {
      cells.push_back(seen ? Json{{"value", fmt::format(fmt::runtime(format), factor * value)}, {"time", time}}
                           : Json());
    }
    return Json{{"words", words}, {"cells", std::move(cells)}};
  };
  Json all = Json::array();
  all.push_back(
      {{"heading", "Worst margins while on its feet"},
       {"columns", Json::array({""})},
       {"rows", Json::array({row("ZMP to edge of support polygon", "{:.1f} mm", 1e3, {margin_}),
                             row("friction coefficient needed" + available, "{:.3f}", 1, {friction_needed_})})}});
  const auto add_soles = [&](const char* heading, std::size_t first, std::size_t end) {
    Json table{{"heading", heading}};
    for (const SoleSummary& sole : soles_) table["columns"].push_back(sole.body);
    for (std::size_t item = first; item < end; ++item) {
      std::vector<Extreme> extremes;
      for (const SoleSummary& sole : soles_) extremes.push_back(sole.items[item]);
      table["rows"].push_back(row(items[item].words, items[item].format, items[item].factor, extremes));
    }
    all.push_back(std::move(table));
  };
  add_soles("Soles while it is on its feet", most_load, slip);
  add_soles("Soles in contact, in all samples", slip, item_count);
  return all;
}

std::string GroundSummary::margins_text() const {
  std::string text;
  const auto out = std::back_inserter(text);
  for (const Json& table : tables()) {
    fmt::format_to(out, "{:<38}", table["heading"].get<std::string>());
    for (const Json& column : table["columns"]) fmt::format_to(out, "{:>11}{:>9}", column.get<std::string>(), "at [s]");
    for (const Json& row : table["rows"]) {
      fmt::format_to(out, "\n  {:<36}", row["words"].get<std::string>());
      for (const Json& cell : row["cells"]) {
        if (cell.is_null())
          fmt::format_to(out, "{:>11}{:>9}", "-", "");
        else
          fmt::format_to(out, "{:>11}{:>9.3f}", cell["value"].get<std::string>(), cell["time"].get<double>());
      }
    }
    text += '\n';
  }
  return text;
}

Json GroundSummary::Span::json() const {
  Json all{{"from", from}, {"to", to}, {"why", causes.at(verdict)}, {"text", reason()}, {"missing", residual.json()}};
  if (verdict == Verdict::tips) all.update({{"direction", direction}, {"excess", excess.json()}});
  if (verdict == Verdict::slips) all["friction_needed"] = number(friction_needed);
  return all;
}

Json GroundSummary::json() const {
  Json spans = Json::array();
  for (const Span& span : spans_) spans.push_back(span.json());
  Json soles = Json::array();
  for (const SoleSummary& sole : soles_) {
    Json one{{"body", sole.body}, {"friction", sole.friction}};
    for (std::size_t item = 0; item < item_count; ++item) one[items[item].key] = sole.items[item].json();
    soles.push_back(std::move(one));
  }
  Json off = Json::array();
  for (const SoleSummary* sole : soles_off_the_ground()) off.push_back(sole->body);
  return {{"stands_throughout", is_borne_throughout() && samples_in_flight_ == 0},
          {"in_flight", samples_in_flight_ == 0
                            ? Json()
                            : Json{{"samples", samples_in_flight_}, {"from", first_flight_}, {"to", last_flight_}}},
          {"off_the_ground", std::move(off)},
          {"cannot_stand", std::move(spans)},
          {"margins",
           {{"zmp_inside", margin_.json()}, {"least_friction", friction_needed_.json()}, {"soles", std::move(soles)}}}};
}

Json GroundSummary::json_with_words() const {
  Json all = json();
  all["verdict"] = headline();
  all["tables"] = tables();
  return all;
}

}  // namespace korvel::host
