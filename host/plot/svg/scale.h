// Axes: where a value is in the picture, which round values are marked, and how they are written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zdr::host::plot {

// Maps [least, most] to [begin, end] in pixels, where `end` may be the smaller one.
struct Scale {
  double least;
  double most;
  double begin;
  double end;

  double operator()(double value) const {
    return most > least ? begin + (value - least) / (most - least) * (end - begin) : begin;
  }
};

// The marked values of an axis, with their texts.
struct Axis {
  struct Mark {
    double value;
    std::string text;
  };

  std::string unit;
  std::vector<Mark> marks;
};

// From 0 to `most`: at most `count` marks after 0.
Axis byte_axis(double most, int count);
Axis rate_axis(double most, int count);  // bit/s
Axis time_axis(double most, int count);  // seconds
// Seconds before and after 0.
Axis signed_axis(double least, double most, int count);

// "57.5 kB", "114 kbit/s": three significant digits.
std::string short_bytes(double bytes);
std::string short_rate(double bits_per_second);
// "200 ms", "5 s", "15 min"
std::string width_text(double seconds);
// "57,549"
std::string grouped(uint64_t number);

}  // namespace zdr::host::plot
