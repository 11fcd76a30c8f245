#pragma once

#include <Eigen/Core>
#include <string>

#include "host/export/xml.h"

namespace korvel::host {

/// Marks of a drawing, on a page with x to the right and y down [pixels].
class Canvas {
 public:
  using Point = Eigen::Vector2d;
  static constexpr const char* ink = "#26323f";
  static constexpr const char* faint = "#a9b4c0";

  Canvas();

  void line(const Point& from, const Point& to, const std::string& colour, double width);
  void arrow(const Point& from, const Point& to, const std::string& colour, double width);
  /// An arrow that points at the reader, or away.
  void arrow_end_on(const Point& at, bool towards_reader, const std::string& colour);
  void dot(const Point& at);
  /// `anchor` is what of the text stands at the point: "start", "middle" or "end"; the point is on the base line.
  void text(const Point& at, const std::string& words, const std::string& colour, const char* anchor);

  /// The drawing on a page of this size, which has a ground of its own, to be read on any other.
  std::string svg(const Point& size);

 private:
  void circle(const Point& at, double radius, const std::string& fill, const std::string& stroke);

  pugi::xml_document document_;
  pugi::xml_node page_;
};

}  // namespace korvel::host
