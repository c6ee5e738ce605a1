// Frames with random side information and values, as the parser could have left them.
#pragma once

#include <random>

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec::test {

class FrameMaker {
 public:
  FrameMaker(uint32_t seed, StreamFormat format) : random_(seed), format_(format) {}
  // One or two channels with every tool but noise substitution, at a level that rarely clips. Window
  // sequences follow each other in any order.
  void make(int channels, Frame& frame);

 private:
  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool chance(int percent) { return pick(1, 100) <= percent; }
  void make_ics(IcsInfo& ics);
  void make_bands(ChannelStream& channel, bool second_of_pair, int16_t* quantised);
  void fill_values(ChannelStream& channel, int16_t* quantised);
  void make_tns(ChannelStream& channel);
  void make_ltp(ChannelStream& channel);
  void make_pair(Frame& frame);

  std::mt19937 random_;
  StreamFormat format_;
};

}  // namespace zdr::aacdec::test
