// Reads ADTS files by the lengths of their headers, without the decoder.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

struct AdtsFrame {
  Bytes header;
  Bytes payload;  // the raw_data_block
};

struct AdtsFile {
  std::string name;
  int profile = 0;
  int sampling_index = 0;
  int channel_configuration = 0;
  std::vector<AdtsFrame> frames;  // complete frames of one raw_data_block
};

Bytes read_bytes(const std::filesystem::path& path);

// Returns the frames of `path` up to the first bytes that are none; none if it is not ADTS. Skips an ID3v2
// tag at the start.
AdtsFile read_adts_file(const std::filesystem::path& path);

// Returns a file of samples/.
AdtsFile sample(const std::string& name);

// Returns every ADTS file of samples/.
std::vector<AdtsFile> adts_samples();

// Returns every ADTS file of samples/ and of the folder that ZDR_EXTRA_MEDIA names.
std::vector<AdtsFile> all_adts_files();

}  // namespace zdr::test
