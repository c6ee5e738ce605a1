// Parses the four frame classes: both borders fixed (FIXFIX), one variable (FIXVAR, VARFIX), both variable
// (VARVAR).
#include "aacdec/syntax/sbr_grid.h"

#include <algorithm>

namespace zdr::aacdec {
namespace {

// Envelope lengths are coded in steps of two time slots, 2 to 8.
int read_length(BitReader& reader) {
  return 2 * static_cast<int>(reader.read(2)) + 2;
}

// The borders of a class with variable ends, before their order has been checked.
struct Borders {
  int envelopes = 0;
  int border[kMaxEnvelopes + 1] = {};

  void set_ends(int first, int last, int count) {
    envelopes = count;
    border[0] = first;
    border[count] = last;
  }
  void read_from_start(BitReader& reader, int count) {
    for (int i = 0; i < count; ++i) border[i + 1] = border[i] + read_length(reader);
  }
  void read_from_end(BitReader& reader, int count) {
    for (int i = envelopes; i > envelopes - count; --i) border[i - 1] = border[i] - read_length(reader);
  }
};

bool read_borders(BitReader& reader, FrameClass frame_class, Borders& borders) {
  const int first = static_cast<int>(reader.read(2));
  if (frame_class == FrameClass::kVarVar) {
    const int last = kSbrTimeSlots + static_cast<int>(reader.read(2));
    const int at_start = static_cast<int>(reader.read(2));
    const int at_end = static_cast<int>(reader.read(2));
    if (at_start + at_end + 1 > kMaxEnvelopes) return false;
    borders.set_ends(first, last, at_start + at_end + 1);
    borders.read_from_start(reader, at_start);
    borders.read_from_end(reader, at_end);
    return true;
  }
  const int count = static_cast<int>(reader.read(2)) + 1;
  if (frame_class == FrameClass::kFixVar) {
    borders.set_ends(0, kSbrTimeSlots + first, count);
    borders.read_from_end(reader, count - 1);
  } else {
    borders.set_ends(first, kSbrTimeSlots, count);
    borders.read_from_start(reader, count - 1);
  }
  return true;
}

bool store_borders(const Borders& borders, SbrGrid& grid) {
  grid.envelope_count = static_cast<uint8_t>(borders.envelopes);
  // Lengths counted from both ends may cross; the outer borders are limited by their coding.
  for (int i = 0; i < borders.envelopes; ++i) {
    if (borders.border[i] >= borders.border[i + 1]) return false;
  }
  std::transform(borders.border, borders.border + borders.envelopes + 1, grid.border,
                 [](int border) { return static_cast<uint8_t>(border); });
  return true;
}

int pointer_bits(int envelopes) {
  if (envelopes == 1) return 1;
  return envelopes < 4 ? 2 : 3;
}

// The border between the two noise floors, as an envelope index.
int middle_noise_border(FrameClass frame_class, int envelopes, int pointer) {
  switch (frame_class) {
    case FrameClass::kFixFix:
      return envelopes / 2;
    case FrameClass::kVarFix:
      if (pointer == 0) return 1;
      return pointer == 1 ? envelopes - 1 : pointer - 1;
    default:
      return pointer < 2 ? envelopes - 1 : envelopes + 1 - pointer;
  }
}

void place_noise_floors(int pointer, SbrGrid& grid) {
  const int envelopes = grid.envelope_count;
  grid.noise_border[0] = grid.border[0];
  grid.noise_count = envelopes == 1 ? 1 : 2;
  if (envelopes > 1)
    grid.noise_border[1] = grid.border[middle_noise_border(grid.frame_class, envelopes, pointer)];
  grid.noise_border[grid.noise_count] = grid.border[envelopes];
}

int transient_envelope(FrameClass frame_class, int envelopes, int pointer) {
  if (frame_class == FrameClass::kVarFix) return pointer >= 2 ? pointer - 1 : -1;
  return pointer >= 1 ? envelopes + 1 - pointer : -1;
}

bool parse_fixed_grid(BitReader& reader, SbrGrid& grid) {
  const int envelopes = 1 << reader.read(2);
  if (envelopes > kMaxEnvelopes) return false;
  grid.envelope_count = static_cast<uint8_t>(envelopes);
  for (int i = 0; i <= envelopes; ++i) {
    grid.border[i] = static_cast<uint8_t>(kSbrTimeSlots * i / envelopes);
  }
  std::fill_n(grid.high_resolution, envelopes, reader.read_bit());
  grid.transient = -1;
  place_noise_floors(0, grid);
  return true;
}

}  // namespace

bool parse_sbr_grid(BitReader& reader, SbrGrid& grid) {
  grid.frame_class = static_cast<FrameClass>(reader.read(2));
  if (grid.frame_class == FrameClass::kFixFix) return parse_fixed_grid(reader, grid);

  Borders borders;
  if (!read_borders(reader, grid.frame_class, borders)) return false;
  const int envelopes = borders.envelopes;
  const int pointer = static_cast<int>(reader.read(pointer_bits(envelopes)));
  if (pointer > envelopes + 1) return false;
  // FIXVAR lists its envelopes from the end.
  const bool backwards = grid.frame_class == FrameClass::kFixVar;
  for (int i = 0; i < envelopes; ++i) {
    grid.high_resolution[backwards ? envelopes - 1 - i : i] = reader.read_bit();
  }
  if (!store_borders(borders, grid)) return false;
  grid.transient = static_cast<int8_t>(transient_envelope(grid.frame_class, envelopes, pointer));
  place_noise_floors(pointer, grid);
  return true;
}

}  // namespace zdr::aacdec
