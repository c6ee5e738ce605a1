// Random SBR and parametric stereo streams that can be played, from written payloads through the parser, and
// a core signal to go with them.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "aacdec/syntax/sbr_bands.h"
#include "mediakit/aac/ps_writer.h"
#include "mediakit/aac/sbr_writer.h"

namespace zdr::aacdec::test {

using Pcm = std::vector<int16_t>;

// A core signal that has everything: noise, steady tones, a click now and then.
class CoreSignal {
 public:
  explicit CoreSignal(uint32_t seed) : random_(seed) {}
  Pcm frame() {
    std::normal_distribution<double> noise(0, 300);
    Pcm pcm(1024);
    for (int16_t& sample : pcm) {
      ++time_;
      double value = noise(random_);
      for (const double turns : {0.0207, 0.111, 0.186}) value += 1500 * std::sin(2 * M_PI * turns * time_);
      if (random_() % 1500 == 0) value += 12000;
      sample = static_cast<int16_t>(std::lround(value));
    }
    return pcm;
  }

 private:
  std::mt19937 random_;
  double time_ = 0;
};

inline SbrHeader random_header(std::mt19937& random, int32_t sbr_rate, SbrBandTables& tables) {
  const auto draw = [&](unsigned count) { return static_cast<uint8_t>(random() % count); };
  for (;;) {
    SbrHeader h;
    h.amp_res = draw(2);
    h.start_freq = draw(16);
    h.stop_freq = draw(16);
    h.xover_band = draw(4);
    h.freq_scale = draw(4);
    h.alter_scale = draw(2);
    h.noise_bands = draw(4);
    h.limiter_bands = draw(4);
    h.limiter_gains = draw(4);
    h.interpol_freq = draw(2);
    h.smoothing_mode = draw(2);
    if (build_sbr_bands(h, sbr_rate, tables) && tables.m > 0) return h;
  }
}

// A random stream of payloads that can be played, through the parser.
class Stream {
 public:
  Stream(uint32_t seed, int32_t core_rate_hz, bool with_ps)
      : random_(seed), rate_hz_(core_rate_hz), with_ps_(with_ps), ps_(seed), parser_(core_rate_hz) {
    ps_.touching = true;
    change_header();
  }

  void change_header() {
    SbrBandTables tables;
    const uint8_t smoothing = header_.smoothing_mode;
    const bool first = tables_.m == 0;
    header_ = random_header(random_, 2 * rate_hz_, tables);
    // Smoothing that begins without a reset is nobody's rule.
    if (!first) header_.smoothing_mode = smoothing;
    tables_ = tables;
    header_due_ = true;
  }

  const SbrHeader& header() const { return header_; }

  const SbrFrame& next(bool pair = false, bool coupled = false, bool header_comes = true) {
    BitWriter w;
    const bool header = header_due_ && header_comes;
    w.put(header ? 1 : 0, 1);
    if (header) put_sbr_header(w, {header_});
    header_due_ = header_due_ && !header;
    SbrFrameWriter writer(random_, header_, tables_);
    writer.continuous = true;
    writer.begins_anew = header;
    writer.levels.high = 28;    // as loud as music
    writer.balances.high = 50;  // the rest is beyond what is either channel alone
    pair ? writer.put_pair(w, models_[0], models_[1], coupled) : writer.put_single(w, models_[0]);
    // Nothing of it is read, so nothing can refer to it.
    if (!header_comes) models_[0] = {};
    put_extended_data(w);
    const auto bytes = w.bytes();
    BitReader reader(bytes.data(), bytes.size());
    bool ps_seen = false;
    for (SbrChannelFrame& channel : frame_.channel) channel.status = SbrStatus::kNone;
    result_ = parse_sbr_payload(reader, false, {0, pair}, parser_, frame_, ps_seen);
    return frame_;
  }
  SbrResult result() const { return result_; }

 private:
  void put_extended_data(BitWriter& w) {
    BitWriter data;
    if (with_ps_) {
      ps_.put_frame(data, count_ % 5 == 0);
      // A frame without parametric stereo data every now and then.
      if (++count_ % 4 == 3) data = {};
    }
    w.put(data.size() != 0 ? 1 : 0, 1);
    if (data.size() == 0) return;
    const size_t bytes = (data.size() + 2 + 7) / 8;
    if (bytes < 15) {
      w.put(bytes, 4);
    } else {
      w.put(15, 4).put(bytes - 15, 8);
    }
    w.put(2, 2).append(data).put(0, static_cast<int>(8 * bytes - 2 - data.size()));
  }

  std::mt19937 random_;
  int32_t rate_hz_;
  bool with_ps_;
  int count_ = 0;
  PsWriter ps_;
  SbrHeader header_;
  SbrBandTables tables_;
  bool header_due_ = false;
  SbrParser parser_;
  SbrModel models_[2];
  SbrFrame frame_;
  SbrResult result_ = SbrResult::kInvalid;
};

}  // namespace zdr::aacdec::test
