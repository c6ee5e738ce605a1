// Writes the elements of an SVG document (SVG 1.1) into a string. Coordinates are rounded to a hundredth of a
// pixel, so that the document stays small.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace zdr::host::plot {

// The shortest text of a coordinate.
std::string coordinate(double value);
// Text as the content of an element or the value of an attribute. Characters that XML does not have become
// \xNN, like control characters.
std::string xml_text(std::string_view utf8);

// The value of the attribute `d` of a path: absolute moves, and horizontal and vertical lines where they are
// shorter.
class PathData {
 public:
  void move(double x, double y) { command('M', x, y); }
  void line(double x, double y) { command('L', x, y); }
  void horizontal(double x) { command('H', x); }
  void vertical(double y) { command('V', y); }
  void close() { text_ += 'z'; }
  void rectangle(double left, double top, double right, double bottom);

  bool is_empty() const { return text_.empty(); }
  const std::string& text() const { return text_; }

 private:
  void command(char name, double first) { (text_ += name) += coordinate(first); }
  void command(char name, double x, double y) {
    command(name, x);
    (text_ += ' ') += coordinate(y);
  }

  std::string text_;
};

using Attributes = std::initializer_list<std::pair<std::string_view, std::string>>;

class SvgWriter {
 public:
  enum class Anchor { kStart, kMiddle, kEnd };

  void begin(std::string_view element, Attributes attributes = {});
  void end(std::string_view element);
  void element(std::string_view element, Attributes attributes);
  void element(std::string_view element, Attributes attributes, std::string_view content);
  void raw(std::string_view text) { text_ += text; }

  // `style` is the value of `class`, defined in style.h.
  void text(double x, double y, std::string_view style, std::string_view content,
            Anchor anchor = Anchor::kStart);
  // A text, and a remark after it in a style of its own.
  void text_with_remark(double x, double y, std::string_view style, std::string_view content,
                        std::string_view remark_style, std::string_view remark);
  void rectangle(double left, double top, double right, double bottom, std::string_view style);
  void line(double x1, double y1, double x2, double y2, std::string_view style);
  // Nothing for an empty path.
  void path(const PathData& data, std::string_view style);

  std::string take() { return std::move(text_); }

 private:
  void open(std::string_view element, Attributes attributes);

  std::string text_;
};

}  // namespace zdr::host::plot
