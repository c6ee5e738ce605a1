// Reads pulse_data, tns_data and ltp_data field by field, and adds the pulses.
#include "aacdec/syntax/tools_data.h"

#include <algorithm>

namespace zdr::aacdec {
namespace {

int8_t sign_extend(uint32_t field, int width) {
  const int sign = 1 << (width - 1);
  return static_cast<int8_t>((static_cast<int>(field) ^ sign) - sign);
}

bool parse_tns_filter(BitReader& reader, bool short_windows, int resolution, TnsFilter& filter) {
  filter.length = static_cast<uint8_t>(reader.read(short_windows ? 4 : 6));
  filter.order = static_cast<uint8_t>(reader.read(short_windows ? 3 : 5));
  if (filter.order == 0) return true;
  if (filter.order > (short_windows ? kMaxTnsOrderShort : kMaxTnsOrder)) return false;
  filter.downwards = reader.read_bit();
  const int width = resolution - static_cast<int>(reader.read(1));
  for (int i = 0; i < filter.order; ++i) {
    filter.coefficient[i] = sign_extend(reader.read(width), width);
  }
  return true;
}

}  // namespace

bool parse_pulse_data(BitReader& reader, const ScaleFactorBands& bands, const IcsInfo& ics,
                      PulseData& pulse) {
  if (ics.is_short()) return false;
  const uint32_t head = reader.read(8);
  pulse.count = static_cast<uint8_t>((head >> 6) + 1);
  pulse.start_sfb = static_cast<uint8_t>(head & 63);
  if (pulse.start_sfb >= bands.count) return false;
  int line = bands.offsets[pulse.start_sfb];
  for (int i = 0; i < pulse.count; ++i) {
    const uint32_t field = reader.read(9);
    pulse.offset[i] = static_cast<uint8_t>(field >> 4);
    pulse.amplitude[i] = static_cast<uint8_t>(field & 15);
    line += pulse.offset[i];
  }
  pulse.present = line < kFrameLength;
  return pulse.present;
}

void add_pulses(const PulseData& pulse, const ScaleFactorBands& bands, std::span<int16_t> quantised) {
  auto line = static_cast<size_t>(bands.offsets[pulse.start_sfb]);
  for (int i = 0; i < pulse.count; ++i) {
    line += pulse.offset[i];
    const int value = quantised[line];
    const int raised = value > 0 ? value + pulse.amplitude[i] : value - pulse.amplitude[i];
    // Only an invalid escape reaches the limits; it remains too large for the dequantiser.
    quantised[line] = static_cast<int16_t>(std::clamp(raised, -32768, 32767));
  }
}

bool parse_tns_data(BitReader& reader, const IcsInfo& ics, TnsData& tns) {
  const bool short_windows = ics.is_short();
  for (int w = 0; w < ics.window_count(); ++w) {
    TnsWindow& window = tns.window[w];
    window.filter_count = static_cast<uint8_t>(reader.read(short_windows ? 1 : 2));
    if (window.filter_count == 0) continue;
    window.resolution = static_cast<uint8_t>(3 + reader.read(1));
    for (int f = 0; f < window.filter_count; ++f) {
      if (!parse_tns_filter(reader, short_windows, window.resolution, window.filter[f])) return false;
    }
  }
  tns.present = true;
  return true;
}

void parse_ltp_data(BitReader& reader, int max_sfb, LtpData& ltp) {
  ltp.present = reader.read_bit();
  if (!ltp.present) return;
  ltp.lag = static_cast<uint16_t>(reader.read(11));
  ltp.coefficient = static_cast<uint8_t>(reader.read(3));
  const int bands = std::min(max_sfb, kMaxLtpBands);
  for (int sfb = 0; sfb < kMaxLtpBands; ++sfb) ltp.long_used[sfb] = sfb < bands && reader.read_bit();
}

}  // namespace zdr::aacdec
