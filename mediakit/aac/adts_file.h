// ADTS files as the tests read them: by the lengths of their headers, with nothing of the library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zdr::aacdec::test {

using Bytes = std::vector<uint8_t>;

struct AdtsFrame {
  Bytes header;
  Bytes payload;  // the raw_data_block
};

struct AdtsFile {
  std::string name;
  int profile = 0;
  int sampling_index = 0;
  int channel_configuration = 0;
  std::vector<AdtsFrame> frames;  // whole frames of one raw_data_block
};

Bytes read_file(const std::filesystem::path& path);

// The frames of `path`; none for a file that isn't ADTS. An ID3v2 tag in front and bytes between frames are
// passed over.
AdtsFile read_adts_file(const std::filesystem::path& path);

AdtsFile sample(const std::string& name);

// Every ADTS file of the samples, and of the folder that ZDR_EXTRA_MEDIA names.
std::vector<AdtsFile> all_adts_files();

}  // namespace zdr::aacdec::test
