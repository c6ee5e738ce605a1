// Walks the frames of an ADTS file.
#include "mediakit/aac/adts_file.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace zdr::test {
namespace {

constexpr size_t kHeaderBytes = 7;

size_t id3_tag_bytes(const Bytes& data) {
  if (data.size() < 10 || data[0] != 'I' || data[1] != 'D' || data[2] != '3') return 0;
  return 10 + (size_t{data[6]} << 21 | size_t{data[7]} << 14 | size_t{data[8]} << 7 | data[9]);
}

size_t frame_bytes(const Bytes& data, size_t at) {
  return (size_t{data[at + 3]} & 3) << 11 | size_t{data[at + 4]} << 3 | data[at + 5] >> 5;
}

bool is_sync(const Bytes& data, size_t at) {
  return at + kHeaderBytes <= data.size() && data[at] == 0xFF && (data[at + 1] & 0xF6) == 0xF0;
}

// True for a whole frame.
bool is_frame(const Bytes& data, size_t at) {
  return is_sync(data, at) && frame_bytes(data, at) >= kHeaderBytes &&
         at + frame_bytes(data, at) <= data.size();
}

void append_files_of(const std::filesystem::path& folder, std::vector<AdtsFile>& files) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".aac") continue;
    AdtsFile file = read_adts_file(entry.path());
    if (!file.frames.empty()) files.push_back(std::move(file));
  }
}

}  // namespace

Bytes read_bytes(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(stream), {});
}

AdtsFile read_adts_file(const std::filesystem::path& path) {
  const Bytes data = read_bytes(path);
  AdtsFile file;
  file.name = path.filename().string();
  for (size_t at = id3_tag_bytes(data); is_frame(data, at);) {
    const auto begin = data.begin() + static_cast<std::ptrdiff_t>(at);
    const auto block = begin + ((data[at + 1] & 1) != 0 ? 7 : 9);
    at += frame_bytes(data, at);
    file.profile = begin[2] >> 6;
    file.sampling_index = begin[2] >> 2 & 15;
    file.channel_configuration = (begin[2] & 1) << 2 | begin[3] >> 6;
    const bool has_one_block = (begin[6] & 3) == 0;
    const auto end = data.begin() + static_cast<std::ptrdiff_t>(at);
    if (has_one_block) file.frames.push_back({Bytes(begin, block), Bytes(block, end)});
  }
  return file;
}

AdtsFile sample(const std::string& name) {
  return read_adts_file(std::filesystem::path(ZDR_SAMPLES_DIR) / name);
}

std::vector<AdtsFile> adts_samples() {
  std::vector<AdtsFile> files;
  append_files_of(ZDR_SAMPLES_DIR, files);
  return files;
}

std::vector<AdtsFile> all_adts_files() {
  std::vector<AdtsFile> files = adts_samples();
  if (const char* extra = std::getenv("ZDR_EXTRA_MEDIA"); extra != nullptr) append_files_of(extra, files);
  return files;
}

}  // namespace zdr::test
