// Parses sbr_extension_data; the functions are ordered from the innermost syntax element outwards.
#include "aacdec/syntax/sbr_payload.h"

#include <algorithm>
#include <iterator>

#include "aacdec/syntax/sbr_bands.h"
#include "aacdec/syntax/sbr_deltas.h"

namespace zdr::aacdec {
namespace {

void parse_inverse_filtering(BitReader& reader, SbrChannelFrame& channel) {
  for (int band = 0; band < channel.bands.noise_count; ++band) {
    channel.invf_mode[band] = static_cast<uint8_t>(reader.read(2));
  }
}

void parse_sinusoids(BitReader& reader, SbrChannelFrame& channel) {
  const bool present = reader.read_bit();
  std::fill(std::begin(channel.add_harmonic), std::end(channel.add_harmonic), uint8_t{0});
  if (!present) return;
  for (int band = 0; band < channel.bands.high_count; ++band) {
    channel.add_harmonic[band] = static_cast<uint8_t>(reader.read(1));
  }
}

// A FIXFIX frame with a single envelope is always coded in steps of 1.5 dB.
uint8_t effective_amp_res(const SbrChannelFrame& channel) {
  const bool single = channel.grid.frame_class == FrameClass::kFixFix && channel.grid.envelope_count == 1;
  return single ? uint8_t{0} : channel.header.amp_res;
}

bool parse_grid(BitReader& reader, SbrChannelFrame& channel) {
  if (!parse_sbr_grid(reader, channel.grid)) return false;
  channel.amp_res = effective_amp_res(channel);
  return true;
}

// Reads bs_extended_data, a container with a length in bytes.
//
// Kept: one extension is read, and everything after it counts as padding. PS data in a channel pair are
// skipped.
void parse_extended_data(BitReader& reader, bool pair, SbrParserState& state, SbrChannelFrame& channel,
                         bool& ps_signalled) {
  constexpr uint32_t kParametricStereo = 2;
  channel.ps.present = false;
  if (!reader.read_bit()) return;
  const uint64_t bits = 8 * read_extension_bytes(reader);
  const uint64_t end = reader.position() + bits;
  if (bits > 0 && reader.read(2) == kParametricStereo && !pair) {
    const PsResult result = parse_ps_data(reader, end - reader.position(), state.ps, channel.ps);
    if (result != PsResult::kUnusable) ps_signalled = true;
  }
  reader.seek(end);
}

void parse_values(BitReader& reader, const DeltaDirections& directions, const SbrParserState& state,
                  SbrChannelFrame& channel) {
  parse_envelopes(reader, directions, state, channel);
  parse_noise_floors(reader, directions, state, channel);
}

bool parse_single_channel_element(BitReader& reader, SbrParserState& state, SbrChannelFrame& channel,
                                  bool& ps_signalled) {
  if (reader.read_bit()) reader.skip(4);
  channel.coupled = false;
  if (!parse_grid(reader, channel)) return false;
  const DeltaDirections directions = parse_delta_directions(reader, channel.grid);
  parse_inverse_filtering(reader, channel);
  parse_values(reader, directions, state, channel);
  parse_sinusoids(reader, channel);
  parse_extended_data(reader, false, state, channel, ps_signalled);
  return true;
}

// The second channel of a coupled pair shares the grid and the inverse filtering modes of the first.
bool parse_coupled_pair(BitReader& reader, SbrParserState* states, SbrChannelFrame* channels) {
  SbrChannelFrame& left = channels[0];
  SbrChannelFrame& right = channels[1];
  if (!parse_grid(reader, left)) return false;
  right.grid = left.grid;
  right.amp_res = left.amp_res;
  const DeltaDirections left_directions = parse_delta_directions(reader, left.grid);
  const DeltaDirections right_directions = parse_delta_directions(reader, right.grid);
  parse_inverse_filtering(reader, left);
  std::copy(std::begin(left.invf_mode), std::end(left.invf_mode), right.invf_mode);
  parse_values(reader, left_directions, states[0], left);
  parse_values(reader, right_directions, states[1], right);
  return true;
}

bool parse_uncoupled_pair(BitReader& reader, SbrParserState* states, SbrChannelFrame* channels) {
  DeltaDirections directions[2];
  for (int c = 0; c < 2; ++c) {
    if (!parse_grid(reader, channels[c])) return false;
  }
  for (int c = 0; c < 2; ++c) directions[c] = parse_delta_directions(reader, channels[c].grid);
  for (int c = 0; c < 2; ++c) parse_inverse_filtering(reader, channels[c]);
  for (int c = 0; c < 2; ++c) parse_envelopes(reader, directions[c], states[c], channels[c]);
  for (int c = 0; c < 2; ++c) parse_noise_floors(reader, directions[c], states[c], channels[c]);
  return true;
}

bool parse_channel_pair_element(BitReader& reader, SbrParserState* states, SbrChannelFrame* channels) {
  if (reader.read_bit()) reader.skip(8);
  const bool coupled = reader.read_bit();
  channels[0].coupled = false;
  channels[1].coupled = coupled;
  const bool valid =
      coupled ? parse_coupled_pair(reader, states, channels) : parse_uncoupled_pair(reader, states, channels);
  if (!valid) return false;
  parse_sinusoids(reader, channels[0]);
  parse_sinusoids(reader, channels[1]);
  bool ignored = false;
  parse_extended_data(reader, true, states[0], channels[0], ignored);
  channels[1].ps.present = false;
  return true;
}

SbrHeader read_header(BitReader& reader, SbrHeader header) {
  const auto field = [&reader](int bits) { return static_cast<uint8_t>(reader.read(bits)); };
  header.amp_res = field(1);
  header.start_freq = field(4);
  header.stop_freq = field(4);
  header.xover_band = field(3);
  reader.skip(2);
  const bool extra_1 = reader.read_bit();
  const bool extra_2 = reader.read_bit();
  // Kept: without its flag a group retains the values of the previous header instead of returning to the
  // defaults.
  if (extra_1) {
    header.freq_scale = field(2);
    header.alter_scale = field(1);
    header.noise_bands = field(2);
  }
  if (extra_2) {
    header.limiter_bands = field(2);
    header.limiter_gains = field(2);
    header.interpol_freq = field(1);
    header.smoothing_mode = field(1);
  }
  return header;
}

bool same_bands(const SbrHeader& a, const SbrHeader& b) {
  return a.start_freq == b.start_freq && a.stop_freq == b.stop_freq && a.xover_band == b.xover_band &&
         a.freq_scale == b.freq_scale && a.alter_scale == b.alter_scale && a.noise_bands == b.noise_bands;
}

// Header and tables are stored together or not at all, because a repeated header relies on the tables stored
// with it.
bool parse_header(BitReader& reader, int32_t sbr_rate_hz, SbrParserState& state) {
  const SbrHeader header = read_header(reader, state.header);
  const bool bands_changed = state.header_missing || !same_bands(header, state.header);
  if (bands_changed) {
    SbrBandTables tables;
    if (!build_sbr_bands(header, sbr_rate_hz, tables)) return false;
    state.bands = tables;
    ++state.bands_generation;
  }
  if (bands_changed || header.limiter_bands != state.header.limiter_bands) {
    build_limiter_bands(header, state.bands);
  }
  state.header = header;
  state.header_missing = false;
  return true;
}

// Stores the values to which the time differences of the next frame refer.
void store_reference_values(const SbrChannelFrame& channel, SbrParserState& state) {
  const int last_envelope = channel.grid.envelope_count - 1;
  const int last_floor = channel.grid.noise_count - 1;
  state.high_resolution = channel.grid.high_resolution[last_envelope];
  std::copy_n(channel.envelope[last_envelope], channel.bands.envelope_bands(state.high_resolution),
              state.envelope);
  std::copy_n(channel.noise[last_floor], channel.bands.noise_count, state.noise);
}

}  // namespace

SbrResult parse_sbr_payload(BitReader& reader, bool with_crc, SbrElement element, SbrParser& parser,
                            SbrFrame& frame, bool& ps_signalled) {
  constexpr int kCrcBits = 10;
  SbrParserState* const states = parser.channel + element.first_channel;
  SbrChannelFrame* const channels = frame.channel + element.first_channel;
  const int count = element.pair ? 2 : 1;

  for (int c = 0; c < count; ++c) channels[c].status = SbrStatus::kNoHeader;
  // Kept: the check word is not verified.
  if (with_crc) reader.skip(kCrcBits);
  const bool has_header = reader.read_bit();
  if (has_header && !parse_header(reader, parser.sbr_rate_hz, states[0])) return SbrResult::kInvalidBands;
  // Kept: SBR data before the first header are not an error; the frame is decoded without them.
  if (states[0].header_missing) return SbrResult::kNoHeader;

  for (int c = 0; c < count; ++c) {
    channels[c].header = states[0].header;
    channels[c].bands = states[0].bands;
    channels[c].bands_generation = states[0].bands_generation;
  }
  const bool valid = element.pair
                         ? parse_channel_pair_element(reader, states, channels)
                         : parse_single_channel_element(reader, states[0], channels[0], ps_signalled);
  if (!valid) return SbrResult::kInvalid;
  for (int c = 0; c < count; ++c) {
    channels[c].status = SbrStatus::kParsed;
    store_reference_values(channels[c], states[c]);
  }
  return SbrResult::kParsed;
}

}  // namespace zdr::aacdec
