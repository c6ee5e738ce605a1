// Puts title, legend and panels one below the other.
#include "host/plot/draw/picture.h"

#include "host/plot/draw/layout.h"
#include "host/plot/draw/panels.h"
#include "host/plot/draw/words.h"
#include "host/plot/svg/style.h"
#include "host/plot/svg/svg_writer.h"

namespace zdr::host::plot {
namespace {

constexpr double kLineHeight = 18;
constexpr double kPanelGap = 14;

double draw_lines(SvgWriter& svg, const std::vector<std::string>& lines, const char* style,
                  const char* prefix, double y) {
  constexpr size_t kMost = 6;
  constexpr size_t kMostCharacters = 150;
  for (size_t i = 0; i < lines.size(); ++i) {
    const bool is_rest = i + 1 == kMost && lines.size() > kMost;
    const std::string text = is_rest ? "and " + std::to_string(lines.size() - i) + " more"
                                     : prefix + shortened(lines[i], kMostCharacters);
    svg.text(kMargin, y, style, text);
    y += kLineHeight;
    if (is_rest) break;
  }
  return y;
}

double draw_legend(SvgWriter& svg, const FileFigure& figure, double y) {
  double x = kMargin;
  const auto entry = [&](const std::string& style, const std::string& text) {
    constexpr double kCharacter = 7.2;
    const double width = 44 + static_cast<double>(text.size()) * kCharacter;
    if (x + width > kWidth && x > kMargin) {
      x = kMargin;
      y += kLineHeight + 2;
    }
    svg.rectangle(x, y - 11, x + 18, y + 1, style);
    svg.text(x + 24, y, "", text);
    x += width;
  };
  for (size_t i = 0; i < figure.tracks.size(); ++i) {
    const TrackFigure& track = figure.tracks[i];
    entry("chunk " + style_of('p', i) + " " + style_of('s', i),
          shortened(track.name, 24) + ": " + shortened(track.codec, 40));
  }
  if (!figure.boxes.empty()) entry("loose", "media data that no track uses, bytes outside all boxes");
  return y + kLineHeight;
}

// Returns the height of the picture.
double draw_body(SvgWriter& svg, const FileFigure& figure) {
  svg.text(kMargin, 32, "title", shortened(figure.name, 80));
  svg.text(kMargin, 54, "soft", shortened(figure.summary, 150));
  double y = draw_legend(svg, figure, 80);
  y = draw_lines(svg, fault_texts(figure), "fault", "Fault: ", y + 4);
  y = draw_lines(svg, figure.notes, "soft", "Note: ", y);
  y = draw_lines(svg, {kScope}, "soft", "", y);
  if (!figure.boxes.empty()) y = draw_byte_map(svg, figure, y) + kPanelGap;
  if (figure.grid.end > 0) {
    if (figure.seek) y = draw_seek(svg, figure, y) + kPanelGap;
    y = draw_offsets(svg, figure, y) + kPanelGap;
    for (size_t i = 0; i < figure.tracks.size(); ++i) y = draw_track(svg, figure, i, y) + kPanelGap;
  }
  return y;
}

}  // namespace

std::string draw_picture(const FileFigure& figure) {
  SvgWriter body;
  const double height = draw_body(body, figure);
  SvgWriter svg;
  svg.begin("svg", {{"xmlns", "http://www.w3.org/2000/svg"},
                    {"viewBox", "0 0 " + coordinate(kWidth) + " " + coordinate(height)},
                    {"width", coordinate(kWidth)},
                    {"height", coordinate(height)},
                    {"role", "img"},
                    {"aria-labelledby", "zdr-title zdr-desc"}});
  svg.element("title", {{"id", "zdr-title"}}, figure.name);
  svg.element("desc", {{"id", "zdr-desc"}}, description(figure));
  svg.raw(kStyle);
  svg.rectangle(0, 0, kWidth, height, "bg");
  svg.raw(body.take());
  svg.end("svg");
  return svg.take();
}

}  // namespace zdr::host::plot
