// The reader behind AACF_File: an open file, its tags, its frames, its decoder.
#pragma once

#include "esparse/aac/aacf.h"
#include "esparse/aac/decoder.h"
#include "esparse/aac/frame_stream.h"

struct AACF_File {
  AACF_File() = default;
  // Closes the file first.
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
  bool locate_stream(zdr::aacf::FileLayout& layout) const;
  int32_t go_to(AACF_FrameRequest& request);
  // False when the data cannot be decoded; nothing is consumed then.
  bool extract_frame(zdr::aacf::Bytes data, AACF_FrameRequest& request);

  zdr::id3p::CallbackFile file_;
  bool is_open_ = false;
  zdr::aacf::FrameStream stream_;
};
