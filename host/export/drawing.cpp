#include "host/export/drawing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "host/export/canvas.h"

namespace korvel::host {

namespace {

using Eigen::Vector3d;
using Point = Canvas::Point;

constexpr double pixels_per_metre = 1150;
constexpr double arrow_length = 36;
constexpr double line_height = 17;
/// From the outermost frames to the labels.
constexpr double gap = 55;
/// Around the frames.
constexpr double top = 110;
constexpr double bottom = 110;

/// Where the reader stands: what is to the right and what points at the reader, in root axes; z is up.
struct View {
  const char* title;
  Vector3d right;
  Vector3d towards_reader;
  /// Labels have the numbers too, and all joints are shown, not only those on the reader's side of the root.
  bool is_numbered;

  double label_width() const { return is_numbered ? 185 : 110; }
};

std::string colour_of(const Vector3d& axis) {
  static constexpr const char* colours[] = {"#b8321f", "#1c7a3c", "#1f5fbf"};
  constexpr const char* oblique = "#8a3fa8";
  Eigen::Index longest = 0;
  const double component = axis.cwiseAbs().maxCoeff(&longest);
  return component > 0.99 ? colours[longest] : oblique;
}

/// Joints that one view has at one place.
struct Group {
  Point at;
  std::vector<std::size_t> bodies;
  double height() const { return line_height * static_cast<double>(bodies.size()); }
};

/// Moves heights apart, in their order, so that labels of these sizes do not overlap. All heights are of middles.
std::vector<double> spread(const std::vector<Group>& groups, double first_top) {
  constexpr double space = 5;
  std::vector<double> middles;
  double free_from = first_top;
  for (const Group& group : groups) {
    middles.push_back(std::max(group.at.y(), free_from + group.height() / 2));
    free_from = middles.back() + group.height() / 2 + space;
  }
  return middles;
}

/// One view, with a column of labels on either side.
class Panel {
 public:
  Panel(Canvas& canvas, const Robot& robot, const View& view, double left, double highest)
      : canvas_(canvas), robot_(robot), view_(view) {
    double least = 0;
    double most = 0;
    for (const Body& body : robot.bodies) {
      least = std::min(least, body.position_root().dot(view.right));
      most = std::max(most, body.position_root().dot(view.right));
    }
    left_labels_ = left + view.label_width();
    origin_ = {left_labels_ + gap - least * pixels_per_metre, top + highest * pixels_per_metre};
    right_labels_ = origin_.x() + most * pixels_per_metre + gap;
  }

  double right() const { return right_labels_ + view_.label_width(); }

  void draw() {
    canvas_.text({(left_labels_ + right_labels_) / 2, top - 75}, view_.title, Canvas::ink, "middle");
    draw_labels();
    draw_links();
    for (const Body& body : robot_.bodies) canvas_.dot(at(body.position_root()));
    draw_root_frame();
    for (const Body& body : robot_.bodies) {
      if (is_shown(body)) draw_axis(at(body.position_root()), body.axis_root(), arrow_length, 2);
    }
  }

 private:
  /// Whether the view has the joint's axis and label.
  bool is_shown(const Body& body) const {
    constexpr double behind = -1e-3;
    return body.parent >= 0 && (view_.is_numbered || body.position_root().dot(view_.towards_reader) >= behind);
  }

  /// Of a vector in root axes, in metres.
  Point projected(const Vector3d& v) const { return {v.dot(view_.right), -v.z()}; }
  Point at(const Vector3d& p) const { return origin_ + pixels_per_metre * projected(p); }

  /// Returns where the arrow ends.
  Point draw_axis(const Point& from, const Vector3d& axis, double length, double width) {
    constexpr double end_on = 0.1;
    const Point direction = projected(axis);
    if (direction.norm() < end_on) {
      canvas_.arrow_end_on(from, axis.dot(view_.towards_reader) > 0, colour_of(axis));
      return from;
    }
    canvas_.arrow(from, from + length * direction, colour_of(axis), width);
    return from + length * direction;
  }

  void draw_links() {
    for (const Body& body : robot_.bodies) {
      if (body.parent < 0) continue;
      const Body& parent = robot_.bodies[static_cast<std::size_t>(body.parent)];
      canvas_.line(at(parent.position_root()), at(body.position_root()), "#d5dde6", 7);
    }
  }

  void draw_root_frame() {
    const std::pair<const char*, Vector3d> axes[] = {
        {"x", Vector3d::UnitX()}, {"y", Vector3d::UnitY()}, {"z", Vector3d::UnitZ()}};
    for (const auto& [name, axis] : axes) {
      const Point end = draw_axis(origin_, axis, 62, 3);
      const Point beside = end == origin_ ? Point(-14, 16) : Point(projected(axis) * 10 + Point(0, 4));
      canvas_.text(end + beside, name, colour_of(axis), "middle");
    }
  }

  void draw_labels() {
    std::vector<Group> left;
    std::vector<Group> right;
    for (const Group& group : groups()) (group.at.x() < origin_.x() + 1 ? left : right).push_back(group);
    draw_column(left, left_labels_, "end", -1);
    draw_column(right, right_labels_, "start", 1);
  }

  /// From the top to the bottom; of those at one height, the inner first.
  std::vector<Group> groups() const {
    std::map<std::pair<long, long>, Group> found;
    for (std::size_t b = 0; b < robot_.bodies.size(); ++b) {
      if (!is_shown(robot_.bodies[b])) continue;
      const Point place = at(robot_.bodies[b].position_root());
      const double outwards = std::abs(place.x() - origin_.x());
      Group& group = found[{std::lround(place.y()), std::lround(outwards) * 2 + (place.x() < origin_.x() ? 1 : 0)}];
      group.at = place;
      group.bodies.push_back(b);
    }
    std::vector<Group> result;
    for (auto& entry : found) result.push_back(std::move(entry.second));
    return result;
  }

  void draw_column(const std::vector<Group>& column, double x, const char* anchor, double outwards) {
    constexpr double below_middle = 4;
    const double header = top - 40;
    canvas_.text({x + outwards * 6, header}, view_.is_numbered ? "joint · j · d" : "joint", Canvas::ink, anchor);
    const std::vector<double> middles = spread(column, header + line_height / 2);
    for (std::size_t i = 0; i < column.size(); ++i) {
      const Group& group = column[i];
      canvas_.line({x, middles[i]}, group.at, Canvas::faint, 0.8);
      double y = middles[i] - (group.height() - line_height) / 2 + below_middle;
      for (const std::size_t b : group.bodies) {
        const Body& body = robot_.bodies[b];
        const std::string words =
            view_.is_numbered ? fmt::format("{} · {} · {}", body.joint, b - 1, body.first_coordinate) : body.joint;
        canvas_.text({x + outwards * 6, y}, words, colour_of(body.axis_root()), anchor);
        y += line_height;
      }
    }
  }

  Canvas& canvas_;
  const Robot& robot_;
  const View& view_;
  Point origin_;  ///< of the root
  double left_labels_;
  double right_labels_;
};

void draw_legend(Canvas& canvas, const Point& at) {
  constexpr double bar = 0.1 * pixels_per_metre;
  for (const double x : {0.0, bar}) canvas.line(at + Point(x, -4), at + Point(x, 4), Canvas::ink, 1.5);
  canvas.line(at, at + Point(bar, 0), Canvas::ink, 1.5);
  canvas.text(at + Point(bar / 2, -8), "0.1 m", Canvas::ink, "middle");
  const Point words = at + Point(bar + 30, -8);
  canvas.text(words,
              "j: joint angle. d: coordinate. Long arrows: the root's frame. Short arrows: axes of joints, about which "
              "positive angles turn right-handed.",
              Canvas::ink, "start");
  const Point below = words + Point(0, line_height);
  const std::pair<const char*, Vector3d> colours[] = {{"along x", Vector3d::UnitX()},
                                                      {"along y", Vector3d::UnitY()},
                                                      {"along z", Vector3d::UnitZ()},
                                                      {"oblique", Vector3d::Ones().normalized()}};
  double x = 0;
  for (const auto& [name, axis] : colours) {
    canvas.text(below + Point(x, 0), name, colour_of(axis), "start");
    x += 65;
  }
  canvas.text(below + Point(x, 0),
              "A ring with a dot: towards the reader; with a cross: away. From the side, the left limbs are behind.",
              Canvas::ink, "start");
}

}  // namespace

std::string to_svg(const Robot& robot) {
  const View front{"front view, x towards the reader", Vector3d::UnitY(), Vector3d::UnitX(), true};
  const View side{"side view from the right, y away from the reader", Vector3d::UnitX(), -Vector3d::UnitY(), false};
  double lowest = 0;
  double highest = 0;
  for (const Body& body : robot.bodies) {
    lowest = std::min(lowest, body.position_root().z());
    highest = std::max(highest, body.position_root().z());
  }
  Canvas canvas;
  Panel front_panel(canvas, robot, front, 10, highest);
  front_panel.draw();
  Panel side_panel(canvas, robot, side, front_panel.right() + 10, highest);
  side_panel.draw();
  const double height = top + (highest - lowest) * pixels_per_metre + bottom;
  draw_legend(canvas, {30, height - 40});
  return canvas.svg({side_panel.right() + 10, height});
}

}  // namespace korvel::host
