#include "mediakit/aac/sbr_writer.h"

#include <algorithm>

namespace zdr::aacdec::test {
namespace {

using Coding = SbrFrameWriter::Coding;

Coding envelope_coding(bool balance, int amp_res) {
  if (balance) {
    return amp_res != 0 ? Coding{5, kBalanceFreq30Codes, kBalanceTime30Codes, 24}
                        : Coding{6, kBalanceFreq15Codes, kBalanceTime15Codes, 48};
  }
  return amp_res != 0 ? Coding{6, kLevelFreq30Codes, kLevelTime30Codes, 63}
                      : Coding{7, kLevelFreq15Codes, kLevelTime15Codes, 127};
}

Coding noise_coding(bool balance) {
  return balance ? Coding{5, kBalanceFreq30Codes, kNoiseBalanceTimeCodes, 24}
                 : Coding{5, kLevelFreq30Codes, kNoiseTimeCodes, 30};
}

int pointer_bits(int envelopes) {
  int bits = 0;
  while (1 << bits < envelopes + 1) ++bits;
  return bits;
}

}  // namespace

// `count` envelope lengths of 2, 4, 6 or 8 slots that fit `room` and leave some of it.
std::vector<int> SbrFrameWriter::choose_lengths(int count, int room) {
  std::vector<int> lengths(static_cast<size_t>(count), 2);
  int used = 2 * count;
  for (int& length : lengths) {
    const int more = 2 * draw(4);
    if (used + more >= room) continue;
    length += more;
    used += more;
  }
  return lengths;
}

int SbrFrameWriter::put_drawn(BitWriter& w, int count, int bits) {
  const int value = draw(count);
  w.put(static_cast<uint64_t>(value), bits);
  return value;
}

void SbrFrameWriter::put_fixed_grid(BitWriter& w, SbrGrid& grid) {
  grid.envelope_count = static_cast<uint8_t>(1 << put_drawn(w, 3, 2));
  for (int i = 0; i <= grid.envelope_count; ++i) {
    grid.border[i] = static_cast<uint8_t>(16 * i / grid.envelope_count);
  }
  std::fill(std::begin(grid.high_resolution), std::end(grid.high_resolution), put_drawn(w, 2, 1) != 0);
  grid.transient = -1;
}

// `first` is the border to begin with where the class leaves a choice, -1 for any. Returns the pointer.
int SbrFrameWriter::put_variable_grid(BitWriter& w, int first, SbrGrid& grid) {
  const bool from_start = grid.frame_class != FrameClass::kFixVar;
  const bool to_end = grid.frame_class != FrameClass::kVarFix;
  const int any = from_start ? draw(4) : 0;
  if (first < 0) first = any;
  if (from_start) w.put(static_cast<uint64_t>(first), 2);
  const int last = 16 + (to_end ? put_drawn(w, 4, 2) : 0);
  int at_start = from_start ? draw(4) : 0;
  const int at_end = to_end ? draw(4) : 0;
  if (from_start && to_end) at_start = std::min(at_start, 4 - at_end);
  if (from_start) w.put(static_cast<uint64_t>(at_start), 2);
  if (to_end) w.put(static_cast<uint64_t>(at_end), 2);
  const int count = at_start + at_end + 1;
  grid.envelope_count = static_cast<uint8_t>(count);
  grid.border[0] = static_cast<uint8_t>(first);
  grid.border[count] = static_cast<uint8_t>(last);
  int coded = 0;
  for (const int length : choose_lengths(count - 1, last - first)) {
    w.put(static_cast<uint64_t>(length / 2 - 1), 2);
    const int at = coded < at_start ? coded + 1 : count - 1 - (coded - at_start);
    const int border = coded < at_start ? grid.border[at - 1] + length : grid.border[at + 1] - length;
    grid.border[at] = static_cast<uint8_t>(border);
    ++coded;
  }
  const int pointer = put_drawn(w, std::min(count + 2, 1 << pointer_bits(count)), pointer_bits(count));
  for (int i = 0; i < count; ++i)
    grid.high_resolution[to_end && !from_start ? count - 1 - i : i] = put_drawn(w, 2, 1) != 0;
  grid.transient = static_cast<int8_t>(to_end ? (pointer >= 1 ? count + 1 - pointer : -1)
                                              : (pointer >= 2 ? pointer - 1 : -1));
  return pointer;
}

FrameClass SbrFrameWriter::choose_class(const SbrModel& model) {
  const int any = draw(4);
  // Only two classes begin elsewhere than with the frame.
  return static_cast<FrameClass>(continuous && model.border_before > 16 ? any | 2 : any);
}

void SbrFrameWriter::put_grid(BitWriter& w, SbrModel& model) {
  SbrGrid& grid = model.grid;
  grid = {};
  grid.frame_class = choose_class(model);
  w.put(static_cast<uint64_t>(grid.frame_class), 2);
  int pointer = 0;
  if (grid.frame_class == FrameClass::kFixFix) {
    put_fixed_grid(w, grid);
  } else {
    pointer = put_variable_grid(w, continuous ? model.border_before - 16 : -1, grid);
  }
  const int count = grid.envelope_count;
  model.border_before = grid.border[count];
  grid.noise_count = count > 1 ? 2 : 1;
  const bool fixed_single = grid.frame_class == FrameClass::kFixFix && count == 1;
  model.amp_res = fixed_single ? 0 : header_.amp_res;
  int middle = count - std::max(pointer - 1, 1);
  if (grid.frame_class == FrameClass::kFixFix) middle = count / 2;
  if (grid.frame_class == FrameClass::kVarFix) {
    middle = pointer == 0 ? 1 : pointer == 1 ? count - 1 : pointer - 1;
  }
  grid.noise_border[0] = grid.border[0];
  if (count > 1) grid.noise_border[1] = grid.border[middle];
  grid.noise_border[grid.noise_count] = grid.border[count];
}

void SbrFrameWriter::put_directions(BitWriter& w, const SbrModel& model, std::vector<int>& envelopes,
                                    std::vector<int>& floors) {
  envelopes.resize(model.grid.envelope_count);
  floors.resize(model.grid.noise_count);
  for (std::vector<int>* const list : {&envelopes, &floors}) {
    for (int& direction : *list) direction = draw(2);
    if (begins_anew) list->front() = 0;
    for (const int direction : *list) w.put(static_cast<uint64_t>(direction), 1);
  }
}

void SbrFrameWriter::put_invf(BitWriter& w, SbrModel& model) {
  model.invf.resize(bands_.noise_count);
  for (int& mode : model.invf) mode = put_drawn(w, 4, 2);
}

// A random difference whose sum stays between `low` and `high`; returns the sum.
int SbrFrameWriter::put_difference(BitWriter& w, std::span<const HuffmanCode> codes, int value, int low,
                                   int high, int factor) {
  const int half = static_cast<int>(codes.size()) / 2;
  const int lowest = std::clamp((low - value) / factor, -half, half);
  const int highest = std::clamp((high - value) / factor, lowest, half);
  const int difference = lowest + draw(highest - lowest + 1);
  w.put(codes[static_cast<size_t>(difference + half)]);
  return value + factor * difference;
}

// One envelope or noise floor, against `references` or, without them, along frequency.
std::vector<int> SbrFrameWriter::put_values(BitWriter& w, const Coding& coding, int count,
                                            const std::vector<int>* references) {
  const int factor = coding.factor;
  std::vector<int> values;
  for (int band = 0; band < count; ++band) {
    if (references == nullptr && band == 0) {
      const int highest = std::min(coding.highest / factor, (1 << coding.start_bits) - 1);
      const int start = draw_between(coding.lowest / factor, highest);
      w.put(static_cast<uint64_t>(start), coding.start_bits);
      values.push_back(factor * start);
      continue;
    }
    const int value = references == nullptr ? values.back() : (*references)[static_cast<size_t>(band)];
    values.push_back(put_difference(w, references == nullptr ? coding.frequency : coding.time, value,
                                    coding.lowest, coding.highest, factor));
  }
  return values;
}

SbrFrameWriter::Coding SbrFrameWriter::scaled(Coding coding, bool balance, const Part& part) const {
  coding.factor = balance ? 2 : 1;
  coding.lowest = coding.factor * part.lowest(coding.highest);
  coding.highest = coding.factor * part.highest(coding.highest);
  return coding;
}

void SbrFrameWriter::put_envelopes(BitWriter& w, SbrModel& model, const std::vector<int>& directions) {
  const Coding coding =
      scaled(envelope_coding(model.coupled, model.amp_res), model.coupled, model.coupled ? balances : levels);
  model.envelope.clear();
  for (int e = 0; e < model.grid.envelope_count; ++e) {
    const bool high = model.grid.high_resolution[e];
    const int count = bands_.envelope_bands(high);
    // The reference covers the band's first QMF band, or begins with it.
    const uint8_t* const before = bands_.envelope_borders(model.high_before);
    std::vector<int> references;
    for (int band = 0, reference = 0; band < count; ++band) {
      while (reference + 1 < bands_.envelope_bands(model.high_before) &&
             before[reference + 1] <= bands_.envelope_borders(high)[band]) {
        ++reference;
      }
      references.push_back(model.envelope_before[static_cast<size_t>(reference)]);
    }
    const bool along_time = directions[static_cast<size_t>(e)] != 0;
    model.envelope.push_back(put_values(w, coding, count, along_time ? &references : nullptr));
    std::copy(model.envelope.back().begin(), model.envelope.back().end(), model.envelope_before.begin());
    model.high_before = high;
  }
}

void SbrFrameWriter::put_noise(BitWriter& w, SbrModel& model, const std::vector<int>& directions) {
  const Coding coding =
      scaled(noise_coding(model.coupled), model.coupled, model.coupled ? balances : noise_floors);
  model.noise.clear();
  for (const int along_time : directions) {
    model.noise.push_back(
        put_values(w, coding, bands_.noise_count, along_time != 0 ? &model.noise_before : nullptr));
    std::copy(model.noise.back().begin(), model.noise.back().end(), model.noise_before.begin());
  }
}

void SbrFrameWriter::put_harmonics(BitWriter& w, SbrModel& model) {
  model.harmonics.assign(bands_.high_count, 0);
  if (put_drawn(w, 2, 1) == 0) return;
  for (int& harmonic : model.harmonics) harmonic = put_drawn(w, 2, 1);
}

void SbrFrameWriter::put_single(BitWriter& w, SbrModel& model) {
  std::vector<int> envelopes;
  std::vector<int> floors;
  w.fields({{1, 1}, {5, 4}});
  model.coupled = false;
  put_grid(w, model);
  put_directions(w, model, envelopes, floors);
  put_invf(w, model);
  put_envelopes(w, model, envelopes);
  put_noise(w, model, floors);
  put_harmonics(w, model);
}

void SbrFrameWriter::put_pair(BitWriter& w, SbrModel& left, SbrModel& right, bool coupled) {
  std::vector<int> envelopes[2];
  std::vector<int> floors[2];
  SbrModel* const models[2] = {&left, &right};
  w.fields({{1, 1}, {0xA5, 8}, {coupled ? 1U : 0U, 1}});
  left.coupled = false;
  right.coupled = coupled;
  put_grid(w, left);
  if (coupled) {
    right.grid = left.grid;
    right.amp_res = left.amp_res;
  } else {
    put_grid(w, right);
  }
  for (size_t c = 0; c < 2; ++c) put_directions(w, *models[c], envelopes[c], floors[c]);
  put_invf(w, left);
  right.invf = left.invf;
  if (coupled) {
    for (size_t c = 0; c < 2; ++c) {
      put_envelopes(w, *models[c], envelopes[c]);
      put_noise(w, *models[c], floors[c]);
    }
  } else {
    put_invf(w, right);
    for (size_t c = 0; c < 2; ++c) put_envelopes(w, *models[c], envelopes[c]);
    for (size_t c = 0; c < 2; ++c) put_noise(w, *models[c], floors[c]);
  }
  for (SbrModel* model : models) put_harmonics(w, *model);
}

}  // namespace zdr::aacdec::test
