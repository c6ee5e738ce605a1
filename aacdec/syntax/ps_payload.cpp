// Parses the header, the borders of the envelopes, and the two kinds of parameters: inter-channel intensity
// differences (IID) and inter-channel coherence (ICC).
#include "aacdec/syntax/ps_payload.h"

#include <algorithm>
#include <iterator>

#include "aacdec/syntax/huffman.h"
#include "aacdec/tables/ps_codes.h"

namespace zdr::aacdec {
namespace {

constexpr int kReservedMode = 6;
constexpr int kSentBands[3] = {10, 20, kMaxPsSentBands};
constexpr int kFineModes = 3;  // the first mode with the fine quantiser
constexpr int kMaxSentEnvelopes = 4;

template <const auto& kCodes>
using Book = HuffmanBook<kCodes, 9>;

// How one kind of parameter is coded: its books along frequency and time, the index of difference 0, the
// valid range.
struct ParameterCoding {
  HuffmanTable frequency;
  HuffmanTable time;
  int offset;
  int lowest;
  int highest;
};
constexpr ParameterCoding kCoarseIid{Book<kIidCoarseFreqCodes>::kTable, Book<kIidCoarseTimeCodes>::kTable, 14,
                                     -7, 7};
constexpr ParameterCoding kFineIid{Book<kIidFineFreqCodes>::kTable, Book<kIidFineTimeCodes>::kTable, 30, -15,
                                   15};
constexpr ParameterCoding kIcc{Book<kIccFreqCodes>::kTable, Book<kIccTimeCodes>::kTable, 7, 0, 7};

using SentParameters = int8_t[kMaxSentEnvelopes][kMaxPsSentBands];

// Reads the indices of one envelope, coded as differences to the band below or to the previous envelope.
// Clamps them to their range, which damaged streams may exceed.
void parse_envelope(BitReader& reader, const ParameterCoding& coding, int bands, const int8_t* before,
                    int8_t* values) {
  const bool along_time = reader.read_bit();
  const HuffmanTable& table = along_time ? coding.time : coding.frequency;
  int below = 0;
  for (int band = 0; band < bands; ++band) {
    const int difference = table.read(reader) - coding.offset;
    const int value = (along_time ? before[band] : below) + difference;
    below = std::clamp(value, coding.lowest, coding.highest);
    values[band] = static_cast<int8_t>(below);
  }
}

// Reads all envelopes of one kind. `last` is the last envelope of the previous frame and is updated.
void parse_parameters(BitReader& reader, const ParameterCoding& coding, int bands, int envelopes,
                      int8_t* last, SentParameters& sent) {
  const int8_t* before = last;
  for (int e = 0; e < envelopes; ++e) {
    parse_envelope(reader, coding, bands, before, sent[e]);
    before = sent[e];
  }
  if (envelopes > 0) std::copy_n(before, bands, last);
}

// 34 bands are mapped to 20 by weighted means of neighbours: {first band, its weight, second band, its
// weight}.
struct Fold {
  uint8_t first, first_weight, second, second_weight;
};
constexpr Fold kFold34[kPsBands] = {{0, 2, 1, 1},   {1, 1, 2, 2},   {3, 2, 4, 1},   {4, 1, 5, 2},
                                    {6, 1, 7, 1},   {8, 1, 9, 1},   {10, 1, 10, 0}, {11, 1, 11, 0},
                                    {12, 1, 13, 1}, {14, 1, 15, 1}, {16, 1, 16, 0}, {17, 1, 17, 0},
                                    {18, 1, 18, 0}, {19, 1, 19, 0}, {20, 1, 21, 1}, {22, 1, 23, 1},
                                    {24, 1, 25, 1}, {26, 1, 27, 1}, {28, 1, 29, 1}, {32, 1, 33, 1}};

int8_t folded_band(const int8_t* sent, int band) {
  if (band == 18) return static_cast<int8_t>((sent[28] + sent[29] + sent[30] + sent[31]) / 4);
  const Fold& fold = kFold34[band];
  const int sum = fold.first_weight * sent[fold.first] + fold.second_weight * sent[fold.second];
  return static_cast<int8_t>(sum / (fold.first_weight + fold.second_weight));
}

void map_to_20_bands(const int8_t* sent, int sent_bands, int8_t* mapped) {
  for (int band = 0; band < kPsBands; ++band) {
    if (sent_bands == kMaxPsSentBands) {
      mapped[band] = folded_band(sent, band);
    } else {
      mapped[band] = sent[sent_bands == kPsBands ? band : band / 2];
    }
  }
}

void parse_header(BitReader& reader, PsParserState& state) {
  state.header_seen = true;
  state.enable_iid = reader.read_bit();
  if (state.enable_iid) state.iid_mode = static_cast<uint8_t>(reader.read(3));
  state.enable_icc = reader.read_bit();
  if (state.enable_icc) state.icc_mode = static_cast<uint8_t>(reader.read(3));
  state.enable_extension = reader.read_bit();
}

// Reads the number of envelopes and their borders. False if the borders are not in ascending order.
bool parse_borders(BitReader& reader, PsFrame& frame) {
  static constexpr uint8_t kCounts[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};
  const bool variable = reader.read_bit();
  frame.envelope_count = kCounts[variable ? 1 : 0][reader.read(2)];
  for (int e = 0; e < frame.envelope_count; ++e) {
    const int border =
        variable ? static_cast<int>(reader.read(5)) + 1 : kPsSlots * (e + 1) / frame.envelope_count;
    frame.border[e] = static_cast<uint8_t>(border);
    if (e > 0 && frame.border[e] < frame.border[e - 1]) return false;
  }
  return true;
}

// Stores one kind of parameter on 20 bands: the transmitted envelopes, then the last one again, which
// continues to the end of the frame.
void store_parameters(const SentParameters& sent, int envelopes, int bands, int8_t (&held)[kPsBands],
                      int8_t (&stored)[kMaxPsEnvelopes][kPsBands]) {
  for (int e = 0; e < envelopes; ++e) map_to_20_bands(sent[e], bands, stored[e]);
  if (envelopes > 0) std::copy_n(stored[envelopes - 1], kPsBands, held);
  std::copy_n(held, kPsBands, stored[envelopes]);
}

// Adds an envelope with the last parameters if the transmitted ones end before the frame.
void complete_borders(PsFrame& frame) {
  if (frame.envelope_count > 0 && frame.border[frame.envelope_count - 1] == kPsSlots) return;
  frame.border[frame.envelope_count++] = kPsSlots;
}

// The settings of one kind of parameter. A kind that is not enabled is 0 in this frame and in the references
// of the next.
struct ParameterHeader {
  bool enabled;
  int bands;
  const ParameterCoding& coding;
};

void read_parameters(BitReader& reader, const ParameterHeader& header, int envelopes,
                     int8_t (&last)[kMaxPsSentBands], int8_t (&held)[kPsBands], SentParameters& sent) {
  if (header.enabled) {
    parse_parameters(reader, header.coding, header.bands, envelopes, last, sent);
    return;
  }
  std::fill(std::begin(last), std::end(last), int8_t{0});
  std::fill(std::begin(held), std::end(held), int8_t{0});
}

}  // namespace

PsResult parse_ps_data(BitReader& reader, uint64_t bits, PsParserState& state, PsFrame& frame) {
  const uint64_t end = reader.position() + bits;
  frame.present = false;
  PsParserState next = state;
  if (reader.read_bit()) parse_header(reader, next);
  if (!next.header_seen) return PsResult::kNoHeader;
  const bool reserved = (next.enable_iid && next.iid_mode >= kReservedMode) ||
                        (next.enable_icc && next.icc_mode >= kReservedMode);
  if (reserved || !parse_borders(reader, frame)) return PsResult::kUnusable;

  const int envelopes = frame.envelope_count;
  const bool fine_iid = next.iid_mode >= kFineModes;
  const ParameterHeader iid_header{next.enable_iid, kSentBands[next.iid_mode % 3],
                                   fine_iid ? kFineIid : kCoarseIid};
  const ParameterHeader icc_header{next.enable_icc, kSentBands[next.icc_mode % 3], kIcc};
  SentParameters iid = {};
  SentParameters icc = {};
  read_parameters(reader, iid_header, envelopes, next.iid, next.held_iid, iid);
  read_parameters(reader, icc_header, envelopes, next.icc, next.held_icc, icc);
  if (next.enable_extension) reader.skip(8 * read_extension_bytes(reader));
  if (reader.position() > end) return PsResult::kUnusable;

  if (envelopes > 0) next.held_fine_iid = fine_iid;
  store_parameters(iid, envelopes, iid_header.bands, next.held_iid, frame.iid);
  store_parameters(icc, envelopes, icc_header.bands, next.held_icc, frame.icc);
  complete_borders(frame);
  frame.fine_iid = next.held_fine_iid;
  frame.present = true;
  state = next;
  return PsResult::kParsed;
}

}  // namespace zdr::aacdec
