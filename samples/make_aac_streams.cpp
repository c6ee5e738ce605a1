// Makes AAC samples with tools that common encoders do not use, from LC streams in ADTS:
//
//   make_aac_streams ltp IN.aac OUT.aac   sets the LTP profile and adds prediction to long windows
//   make_aac_streams sbr IN.aac OUT.aac   adds SBR data to every block
//   make_aac_streams ps IN.aac OUT.aac    adds SBR and parametric stereo data, to mono streams
//
// sbr-short and ps-short are like sbr and ps, but leave the optional fields out of the SBR headers, as many
// encoders do. The values are those that a decoder assumes then, so that the sound is the same.
//
// The added data are random, within a range that sounds natural. The rest of each block is copied bit for
// bit.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "aacdec/syntax/channel_stream.h"
#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/sbr_stream.h"
#include "samples/ps_writer.h"
#include "samples/sbr_writer.h"

namespace zdr::test {

using namespace aacdec;

namespace {

constexpr int kHeaderBits = 56;

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

void copy_bits(BitWriter& w, BitReader& reader, uint64_t end) {
  while (reader.position() < end) w.put(reader.read(1), 1);
}

// Returns a block as an ADTS frame with the header of `model`.
Bytes adts_frame(const AdtsFrame& model, int profile, const Bytes& block) {
  BitReader header(model.header.data(), model.header.size());
  BitWriter w;
  copy_bits(w, header, 16);
  w.put(static_cast<uint64_t>(profile), 2);
  header.skip(2);
  copy_bits(w, header, 30);
  w.put(kHeaderBits / 8 + block.size(), 13);
  header.skip(13);
  copy_bits(w, header, kHeaderBits);
  Bytes frame = w.bytes();
  frame.insert(frame.end(), block.begin(), block.end());
  return frame;
}

// Returns the position of the END element of a block.
uint64_t end_position(const Bytes& block, const StreamFormat& format) {
  BitReader reader(block.data(), block.size());
  BlockContext context;
  context.format = format;
  const auto frame = std::make_unique<Frame>();
  require(parse_raw_data_block(reader, context, *frame).has_value(), "a block that does not parse");
  return reader.position() - 3;
}

class SbrMaker {
 public:
  SbrMaker(const AdtsFile& file, bool with_ps, bool short_headers)
      : file_(file),
        pair_(file.channel_configuration == 2),
        with_ps_(with_ps),
        short_headers_(short_headers),
        header_(sbr_header()),
        writer_(random_, header_, bands_),
        ps_(7) {
    const int32_t rate = 2 * kSamplingRates[file.sampling_index];
    require(build_sbr_bands(header_, rate, bands_), "no band tables");
    writer_.levels = {22, 32};
    writer_.balances = {40, 60};
    writer_.noise_floors = {30, 60};
    ps_.keeps_header = true;
    ps_.modes = 2;
    ps_.widest_iid = 4;
    do ps_.draw_header();
    while (!ps_.iid.enabled || !ps_.icc.enabled || ps_.extension);
  }

  Bytes operator()(const Bytes& block) {
    BitReader reader(block.data(), block.size());
    BitWriter w;
    copy_bits(w, reader, end_position(block, {file_.sampling_index, file_.profile}));
    w.append(fill_element(payload()));
    ++blocks_;
    return block_of(w);
  }

 private:
  static constexpr int kHeaderEvery = 8;

  static SbrHeader sbr_header() {
    SbrHeader header;
    header.start_freq = 8;
    header.stop_freq = 9;
    header.freq_scale = 2;
    header.alter_scale = 1;
    header.noise_bands = 2;
    header.limiter_bands = 2;
    header.limiter_gains = 2;
    header.interpol_freq = 1;
    header.smoothing_mode = 1;
    return header;
  }

  BitWriter payload() {
    const bool with_header = blocks_ % kHeaderEvery == 0;
    BitWriter w;
    w.put(13, 4).put(with_header ? 1 : 0, 1);
    if (with_header) w.append(sbr_header_bits(header_, !short_headers_, !short_headers_));
    const bool coupled = pair_ && random_() % 2 != 0;
    writer_.put_element(w, std::span(models_, pair_ ? 2 : 1), coupled);
    BitWriter ps;
    if (with_ps_) ps_.put_frame(ps, with_header);
    return w.append(sbr_extended_data(2, ps));
  }

  const AdtsFile& file_;
  bool pair_;
  bool with_ps_;
  bool short_headers_;
  std::mt19937 random_{5};
  SbrHeader header_;
  SbrBandTables bands_;
  SbrFrameWriter writer_;
  PsWriter ps_;
  SbrChannelCoding models_[2];
  int blocks_ = 0;
};

class LtpMaker {
 public:
  explicit LtpMaker(const AdtsFile& file) : format_{file.sampling_index, file.profile} {}

  Bytes operator()(const Bytes& block) {
    BitReader reader(block.data(), block.size());
    const uint64_t end = end_position(block, format_);
    BitWriter w;
    while (reader.position() < end) put_element(w, reader);
    return block_of(w);
  }

 private:
  void put_element(BitWriter& w, BitReader& reader) {
    const uint64_t start = reader.position();
    const uint32_t id = reader.read(3);
    if (id == kFil) {
      uint64_t count = reader.read(4);
      if (count == 15) count += reader.read(8) - uint64_t{1};
      const uint64_t end = reader.position() + 8 * count;
      reader.seek(start);
      copy_bits(w, reader, end);
      return;
    }
    require(id == kCpe, "only streams of channel pairs are known here");
    reader.seek(start);
    copy_bits(w, reader, start + 7);
    put_pair(w, reader);
  }

  void put_pair(BitWriter& w, BitReader& reader) {
    const bool common_window = reader.peek(1) != 0;
    copy_bits(w, reader, reader.position() + 1);
    if (common_window) {
      put_ics(w, reader, channel_, 2);
      const uint32_t mask = reader.peek(2);
      copy_bits(w, reader, reader.position() + 2);
      const uint64_t flags = mask == 1 ? uint64_t{channel_.ics.group_count} * channel_.ics.max_sfb : 0;
      copy_bits(w, reader, reader.position() + flags);
    }
    for (int c = 0; c < 2; ++c) put_channel(w, reader, common_window);
  }

  void put_channel(BitWriter& w, BitReader& reader, bool common_window) {
    const uint64_t start = reader.position();
    require(parse_channel_side_info(reader, format_, common_window, false, channel_) &&
                parse_spectral_data(reader, format_, channel_, {}),
            "a channel that does not parse");
    const uint64_t end = reader.position();
    reader.seek(start);
    copy_bits(w, reader, start + 8);
    if (!common_window) put_ics(w, reader, channel_, 1);
    copy_bits(w, reader, end);
  }

  // Writes ics_info, with prediction for `channels` channels if the window is long.
  void put_ics(BitWriter& w, BitReader& reader, ChannelStream& channel, int channels) {
    const uint64_t start = reader.position();
    LtpData second;
    require(parse_ics_info(reader, format_, channel.ics, channel.ltp, &second), "an ics_info");
    const uint64_t end = reader.position();
    reader.seek(start);
    if (channel.ics.is_short()) return copy_bits(w, reader, end);
    copy_bits(w, reader, end - 1);
    reader.seek(end);
    w.put(1, 1);
    for (int c = 0; c < channels; ++c) put_ltp(w, channel.ics.max_sfb);
  }

  void put_ltp(BitWriter& w, int max_sfb) {
    const bool present = random_() % 4 != 0;
    w.put(present ? 1 : 0, 1);
    if (!present) return;
    // Lags from pitch periods to long delays, and the two smallest gains.
    w.put(200 + random_() % 1848, 11).put(random_() % 2, 3);
    for (int sfb = 0; sfb < std::min(max_sfb, kMaxLtpBands); ++sfb) w.put(random_() % 2, 1);
  }

  StreamFormat format_;
  ChannelStream channel_;
  std::mt19937 random_{6};
};

template <class Maker>
void convert(const AdtsFile& file, Maker maker, int profile, const char* out) {
  std::ofstream stream(out, std::ios::binary);
  for (const AdtsFrame& frame : file.frames) {
    const Bytes bytes = adts_frame(frame, profile, maker(frame.payload));
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  require(static_cast<bool>(stream), "cannot write");
}

void run(const std::string& what, const char* in, const char* out) {
  const AdtsFile file = read_adts_file(in);
  require(!file.frames.empty(), "no frames");
  if (what == "ltp") return convert(file, LtpMaker(file), kProfileLtp, out);
  const bool short_headers = what.ends_with("-short");
  const std::string data = what.substr(0, what.find('-'));
  require((data == "sbr" || data == "ps") && what == data + (short_headers ? "-short" : ""),
          "ltp, sbr, sbr-short, ps or ps-short");
  convert(file, SbrMaker(file, data == "ps", short_headers), file.profile, out);
}

}  // namespace
}  // namespace zdr::test

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  try {
    zdr::test::run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_aac_streams: %s\n", error.what());
    return 1;
  }
  return 0;
}
