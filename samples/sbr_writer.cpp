// Draws the grid, envelopes, noise floors and sinusoids of SBR frames and writes them field by field.
#include "samples/sbr_writer.h"

#include <algorithm>
#include <functional>

#include "aacdec/tables/sbr_codes.h"

namespace zdr::test {

using namespace aacdec;

namespace {

using Coding = SbrFrameWriter::Coding;

Coding envelope_coding(bool balance, int amp_res) {
  if (balance) {
    return amp_res != 0 ? Coding{5, kBalanceFreq30Codes, kBalanceTime30Codes, 12, 2}
                        : Coding{6, kBalanceFreq15Codes, kBalanceTime15Codes, 24, 2};
  }
  return amp_res != 0 ? Coding{6, kLevelFreq30Codes, kLevelTime30Codes, 63}
                      : Coding{7, kLevelFreq15Codes, kLevelTime15Codes, 127};
}

Coding noise_coding(bool balance) {
  return balance ? Coding{5, kBalanceFreq30Codes, kNoiseBalanceTimeCodes, 12, 2}
                 : Coding{5, kLevelFreq30Codes, kNoiseTimeCodes, 30};
}

int pointer_bits(int envelopes) {
  int bits = 0;
  while (1 << bits < envelopes + 1) ++bits;
  return bits;
}

Coding narrowed(Coding coding, const SbrFrameWriter::Part& part) {
  coding.lowest = coding.highest * part.low / 100;
  coding.highest = coding.highest * part.high / 100;
  return coding;
}

}  // namespace

BitWriter sbr_extended_data(uint64_t id, const BitWriter& data) {
  if (data.size() == 0) return {{0, 1}};
  const size_t bytes = (data.size() + 2 + 7) / 8;
  BitWriter w{{1, 1}};
  if (bytes < 15) {
    w.put(bytes, 4);
  } else {
    w.fields({{15, 4}, {bytes - 15, 8}});
  }
  const size_t end = w.size() + 8 * bytes;
  return w.put(id, 2).append(data).pad_to(end);
}

int SbrFrameWriter::put_drawn(BitWriter& w, int count, int bits) {
  const int value = draw(count);
  w.put(static_cast<uint64_t>(value), bits);
  return value;
}

// Writes borders in syntax order. False if they are not ascending; the caller then tries again.
bool SbrFrameWriter::put_variable_grid(BitWriter& w, int first, SbrGrid& grid) {
  const bool starts_variably = grid.frame_class != FrameClass::kFixVar;
  const bool ends_variably = grid.frame_class != FrameClass::kVarFix;
  if (starts_variably) w.put(static_cast<uint64_t>(first), 2);
  const int last = 16 + (ends_variably ? put_drawn(w, 4, 2) : 0);
  const int at_start = starts_variably ? put_drawn(w, 4, 2) : 0;
  const int at_end = ends_variably ? put_drawn(w, 4, 2) : 0;
  const int count = at_start + at_end + 1;
  if (count > kMaxEnvelopes) return false;
  int border[kMaxEnvelopes + 1] = {first};
  border[count] = last;
  for (int i = 1; i <= at_start; ++i) border[i] = border[i - 1] + 2 * put_drawn(w, 4, 2) + 2;
  for (int i = count - 1; i > at_start; --i) border[i] = border[i + 1] - 2 * put_drawn(w, 4, 2) - 2;
  put_drawn(w, std::min(count + 2, 1 << pointer_bits(count)), pointer_bits(count));
  for (int i = 0; i < count; ++i) {
    // FIXVAR lists its envelopes from the last one.
    grid.high_resolution[starts_variably ? i : count - 1 - i] = put_drawn(w, 2, 1) != 0;
  }
  grid.envelope_count = static_cast<uint8_t>(count);
  std::copy_n(border, count + 1, grid.border);
  return std::adjacent_find(border, border + count + 1, std::greater_equal<>()) == border + count + 1;
}

void SbrFrameWriter::put_grid(BitWriter& w, SbrChannelFrame& frame) {
  SbrGrid& grid = frame.grid;
  const int first = std::max(0, grid.border[grid.envelope_count] - 16);
  // Only two classes begin after the start of the frame.
  const int frame_class = draw(4) | (first > 0 ? 2 : 0);
  const bool is_fixed = frame_class == 0;
  BitWriter fields;
  do {
    grid = {static_cast<FrameClass>(frame_class)};
    fields = {};
    if (!is_fixed) continue;
    grid.envelope_count = static_cast<uint8_t>(1 << put_drawn(fields, 3, 2));
    for (int i = 0; i <= grid.envelope_count; ++i) {
      grid.border[i] = static_cast<uint8_t>(16 * i / grid.envelope_count);
    }
    std::fill_n(grid.high_resolution, grid.envelope_count, put_drawn(fields, 2, 1) != 0);
  } while (!is_fixed && !put_variable_grid(fields, first, grid));
  w.put(static_cast<uint64_t>(frame_class), 2).append(fields);
  const int count = grid.envelope_count;
  frame.amp_res = is_fixed && count == 1 ? uint8_t{0} : header_.amp_res;
  grid.noise_count = count > 1 ? 2 : 1;
}

void SbrFrameWriter::put_directions(BitWriter& w, SbrChannelCoding& model) {
  const SbrGrid& grid = model.frame.grid;
  for (const std::span<bool> list : {std::span(model.along_time, grid.envelope_count),
                                     std::span(model.noise_along_time, grid.noise_count)}) {
    for (bool& along_time : list) along_time = draw(2) != 0;
    for (const bool along_time : list) w.put(along_time ? 1 : 0, 1);
  }
}

// Writes an envelope or noise floor as differences from `references` or, if that is null, along frequency.
SbrValues SbrFrameWriter::put_values(BitWriter& w, const Coding& coding, int count,
                                     const SbrValues* references) {
  const auto codes = references != nullptr ? coding.time : coding.frequency;
  const int half = static_cast<int>(codes.size()) / 2;
  SbrValues values{};
  for (int band = 0; band < count; ++band) {
    int16_t& value = values[static_cast<size_t>(band)];
    if (references == nullptr && band == 0) {
      const int highest = std::min(coding.highest, (1 << coding.start_bits) - 1);
      const int start = coding.lowest + draw(highest - coding.lowest + 1);
      w.put(static_cast<uint64_t>(start), coding.start_bits);
      value = static_cast<int16_t>(coding.factor * start);
      continue;
    }
    const int reference = references != nullptr ? (*references)[static_cast<size_t>(band)] : (&value)[-1];
    const int lowest = std::clamp(coding.lowest - reference / coding.factor, -half, half);
    const int highest = std::clamp(coding.highest - reference / coding.factor, lowest, half);
    const int difference = lowest + draw(highest - lowest + 1);
    w.put(codes[static_cast<size_t>(difference + half)]);
    value = static_cast<int16_t>(reference + coding.factor * difference);
  }
  return values;
}

void SbrFrameWriter::put_envelopes(BitWriter& w, SbrChannelCoding& model) {
  SbrChannelFrame& frame = model.frame;
  const Coding coding =
      narrowed(envelope_coding(frame.coupled, frame.amp_res), frame.coupled ? balances : levels);
  for (int e = 0; e < frame.grid.envelope_count; ++e) {
    const bool high = frame.grid.high_resolution[e];
    // The reference of a band is the one that covers, or begins with, its first QMF band.
    const uint8_t* const before = bands_.envelope_borders(model.high_before);
    SbrValues references{};
    for (int band = 0, reference = 0; band < bands_.envelope_bands(high); ++band) {
      while (reference + 1 < bands_.envelope_bands(model.high_before) &&
             before[reference + 1] <= bands_.envelope_borders(high)[band]) {
        ++reference;
      }
      references[static_cast<size_t>(band)] = model.envelope_before[static_cast<size_t>(reference)];
    }
    model.envelope_before =
        put_values(w, coding, bands_.envelope_bands(high), model.along_time[e] ? &references : nullptr);
    model.high_before = high;
    std::copy(model.envelope_before.begin(), model.envelope_before.end(), frame.envelope[e]);
  }
}

void SbrFrameWriter::put_noise(BitWriter& w, SbrChannelCoding& model) {
  SbrChannelFrame& frame = model.frame;
  const Coding coding = narrowed(noise_coding(frame.coupled), frame.coupled ? balances : noise_floors);
  for (int f = 0; f < frame.grid.noise_count; ++f) {
    model.noise_before =
        put_values(w, coding, bands_.noise_count, model.noise_along_time[f] ? &model.noise_before : nullptr);
    std::copy_n(model.noise_before.begin(), kMaxNoiseBands, frame.noise[f]);
  }
}

void SbrFrameWriter::put_harmonics(BitWriter& w, SbrChannelFrame& frame) {
  if (put_drawn(w, 2, 1) == 0) return;
  for (int band = 0; band < bands_.high_count; ++band) {
    frame.add_harmonic[band] = static_cast<uint8_t>(put_drawn(w, 2, 1));
  }
}

void SbrFrameWriter::put_element(BitWriter& w, std::span<SbrChannelCoding> models, bool coupled) {
  const bool pair = models.size() == 2;
  // Reserved data.
  w.put(1, 1).put(pair ? 0xA5 : 5, pair ? 8 : 4);
  if (pair) w.put(coupled ? 1 : 0, 1);
  const SbrChannelFrame& first = models[0].frame;
  for (SbrChannelCoding& model : models) {
    SbrChannelFrame frame{};
    frame.coupled = coupled && &model != models.data();
    frame.grid = frame.coupled ? first.grid : model.frame.grid;
    frame.amp_res = first.amp_res;
    if (!frame.coupled) put_grid(w, frame);
    model.frame = frame;
  }
  for (SbrChannelCoding& model : models) put_directions(w, model);
  for (SbrChannelCoding& model : models) {
    for (int n = 0; n < bands_.noise_count; ++n) {
      model.frame.invf_mode[n] =
          model.frame.coupled ? first.invf_mode[n] : static_cast<uint8_t>(put_drawn(w, 4, 2));
    }
  }
  for (SbrChannelCoding& model : models) {
    put_envelopes(w, model);
    if (coupled) put_noise(w, model);
  }
  for (SbrChannelCoding& model : models) {
    if (!coupled) put_noise(w, model);
  }
  for (SbrChannelCoding& model : models) put_harmonics(w, model.frame);
}

}  // namespace zdr::test
