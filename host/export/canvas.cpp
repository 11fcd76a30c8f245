#include "host/export/canvas.h"

#include <fmt/format.h>

#include <cmath>

namespace korvel::host {

namespace {

using Point = Canvas::Point;

/// Tenths of pixels.
std::string pixels(double value) {
  const std::string text = fmt::format("{:.1f}", value);
  return text == "-0.0" ? "0.0" : text;
}

std::string pixels(const Point& p) { return pixels(p.x()) + ' ' + pixels(p.y()); }

}  // namespace

Canvas::Canvas() {
  page_ = append(document_.root(), "svg",
                 {{"xmlns", "http://www.w3.org/2000/svg"}, {"font-family", "sans-serif"}, {"font-size", "13"}});
  append(page_, "rect", {{"width", "100%"}, {"height", "100%"}, {"rx", "8"}, {"fill", "#ffffff"}});
}

std::string Canvas::svg(const Point& size) {
  page_.append_attribute("viewBox").set_value(("0 0 " + pixels(size)).c_str());
  page_.append_attribute("width").set_value(pixels(size.x()).c_str());
  page_.append_attribute("height").set_value(pixels(size.y()).c_str());
  return to_string(document_);
}

void Canvas::line(const Point& from, const Point& to, const std::string& colour, double width) {
  append(page_, "path",
         {{"d", fmt::format("M {} L {}", pixels(from), pixels(to))},
          {"stroke", colour},
          {"stroke-width", pixels(width)},
          {"stroke-linecap", "round"}});
}

void Canvas::arrow(const Point& from, const Point& to, const std::string& colour, double width) {
  constexpr double head = 9;
  const Point along = (to - from).normalized();
  const Point across = Point(-along.y(), along.x()) * head / 3;
  const Point neck = to - head * along;
  line(from, neck, colour, width);
  append(page_, "path",
         {{"d", fmt::format("M {} L {} L {} Z", pixels(to), pixels(neck + across), pixels(neck - across))},
          {"fill", colour}});
}

void Canvas::arrow_end_on(const Point& at, bool towards_reader, const std::string& colour) {
  constexpr double radius = 6;
  circle(at, radius, "#ffffff", colour);
  if (towards_reader) return circle(at, radius / 4, colour, colour);
  const Point diagonal = Point::Constant(radius / std::sqrt(2));
  const Point other(diagonal.x(), -diagonal.y());
  line(at - diagonal, at + diagonal, colour, 1.5);
  line(at - other, at + other, colour, 1.5);
}

void Canvas::dot(const Point& at) { circle(at, 2.5, "#ffffff", ink); }

void Canvas::circle(const Point& at, double radius, const std::string& fill, const std::string& stroke) {
  append(page_, "circle",
         {{"cx", pixels(at.x())},
          {"cy", pixels(at.y())},
          {"r", pixels(radius)},
          {"fill", fill},
          {"stroke", stroke},
          {"stroke-width", "1.5"}});
}

void Canvas::text(const Point& at, const std::string& words, const std::string& colour, const char* anchor) {
  append(page_, "text", {{"x", pixels(at.x())}, {"y", pixels(at.y())}, {"fill", colour}, {"text-anchor", anchor}})
      .text()
      .set(words.c_str());
}

}  // namespace korvel::host
