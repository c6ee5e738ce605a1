// The reader: owns an open file, its tags, its stream of frames and its decoder.
#pragma once

#include <array>

#include "esparse/aac/aacf.h"
#include "esparse/aac/decoder.h"
#include "esparse/aac/frame_stream.h"

struct AACF_File {
  AACF_File() = default;
  ~AACF_File();
  AACF_File(const AACF_File&) = delete;
  AACF_File& operator=(const AACF_File&) = delete;

  int32_t open(const char16_t* path, const AACF_OpenParams& params);
  int32_t read_frame(AACF_FrameRequest& request);

  Zd_AAC_Dec_Config config{};
  AACF_StreamInfo info{};
  ID3P_TagSet tags{};
  zdr::aacf::Decoder decoder;

 private:
  // Must be called after the tags are read. False if no stream follows them.
  bool locate_stream(zdr::aacf::FileLayout& layout) const;
  // Moves the stream to the requested frame. Returns AACF_OK or a failure.
  int32_t seek_to_frame(AACF_FrameRequest& request);
  // False if the data cannot be decoded; nothing is then consumed.
  bool decode_frame(zdr::aacf::Bytes data, AACF_FrameRequest& request);

  zdr::id3p::CallbackFile file_;
  bool is_open_ = false;
  zdr::aacf::FrameStream stream_;
  // Room for the largest output frame, 2048 samples of two channels. The buffer of a request may begin at an
  // odd address, where the decoder cannot write samples.
  std::array<int16_t, 4096> pcm_{};
};
