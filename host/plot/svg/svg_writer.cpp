// Writes elements with escaped texts, and with numbers that do not depend on the locale.
#include "host/plot/svg/svg_writer.h"

#include <array>
#include <charconv>
#include <cmath>

#include "host/text/decoded_text.h"

namespace zdr::host::plot {

std::string coordinate(double value) {
  constexpr double kPerPixel = 100;
  constexpr double kFarthest = 1e7;  // beyond any picture
  const double bounded = std::isfinite(value) ? std::fmin(std::fmax(value, -kFarthest), kFarthest) : 0;
  std::array<char, 32> digits{};
  const double rounded = std::round(bounded * kPerPixel) / kPerPixel + 0.0;  // no "-0"
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), rounded).ptr;
  return {digits.data(), end};
}

std::string xml_text(std::string_view utf8) {
  std::string out;
  const std::string text = printable(utf8);
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view rest = std::string_view(text).substr(i);
    if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
      out += rest[2] == '\xBE' ? "\\xef\\xbf\\xbe" : "\\xef\\xbf\\xbf";
      i += 2;
      continue;
    }
    switch (text[i]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += text[i];
    }
  }
  return out;
}

void PathData::rectangle(double left, double top, double right, double bottom) {
  move(left, top);
  horizontal(right);
  vertical(bottom);
  horizontal(left);
  close();
}

void SvgWriter::open(std::string_view element, Attributes attributes) {
  (text_ += '<') += element;
  for (const auto& [name, value] : attributes) {
    if (value.empty()) continue;
    (text_ += ' ') += name;
    ((text_ += "=\"") += xml_text(value)) += '"';
  }
}

void SvgWriter::begin(std::string_view element, Attributes attributes) {
  open(element, attributes);
  text_ += ">\n";
}

void SvgWriter::end(std::string_view element) {
  ((text_ += "</") += element) += ">\n";
}

void SvgWriter::element(std::string_view element, Attributes attributes) {
  open(element, attributes);
  text_ += "/>\n";
}

void SvgWriter::element(std::string_view element, Attributes attributes, std::string_view content) {
  open(element, attributes);
  ((text_ += '>') += xml_text(content)) += "</";
  (text_ += element) += ">\n";
}

void SvgWriter::text(double x, double y, std::string_view style, std::string_view content, Anchor anchor) {
  const char* const suffix = anchor == Anchor::kMiddle ? " mid" : anchor == Anchor::kEnd ? " end" : "";
  element("text", {{"x", coordinate(x)}, {"y", coordinate(y)}, {"class", std::string(style) + suffix}},
          content);
}

void SvgWriter::text_with_remark(double x, double y, std::string_view style, std::string_view content,
                                 std::string_view remark_style, std::string_view remark) {
  open("text", {{"x", coordinate(x)}, {"y", coordinate(y)}, {"class", std::string(style)}});
  (text_ += '>') += xml_text(content);
  open("tspan", {{"dx", "14"}, {"class", std::string(remark_style)}});
  ((text_ += '>') += xml_text(remark)) += "</tspan></text>\n";
}

void SvgWriter::rectangle(double left, double top, double right, double bottom, std::string_view style) {
  element("rect", {{"x", coordinate(left)},
                   {"y", coordinate(top)},
                   {"width", coordinate(right - left)},
                   {"height", coordinate(bottom - top)},
                   {"class", std::string(style)}});
}

void SvgWriter::line(double x1, double y1, double x2, double y2, std::string_view style) {
  element("line", {{"x1", coordinate(x1)},
                   {"y1", coordinate(y1)},
                   {"x2", coordinate(x2)},
                   {"y2", coordinate(y2)},
                   {"class", std::string(style)}});
}

void SvgWriter::path(const PathData& data, std::string_view style) {
  if (!data.is_empty()) element("path", {{"d", data.text()}, {"class", std::string(style)}});
}

}  // namespace zdr::host::plot
