// Builds the movies of the benchmarks and opens them.
#include "bench/huge_movie.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <numeric>

#include "mediakit/boxes/box_builder.h"
#include "mediakit/files/temp_folder.h"

namespace zdr::bench {
namespace {

using namespace zdr::test;

constexpr std::array<uint32_t, kSamplesPerChunk> kSizes = {201, 187, 230, 175, 212, 254, 166, 190, 223, 199};
constexpr size_t kChunkBytes = std::accumulate(kSizes.begin(), kSizes.end(), size_t{0});

Bytes moov(uint32_t samples, uint64_t media_offset) {
  const uint32_t chunks = (samples + kSamplesPerChunk - 1) / kSamplesPerChunk;
  std::vector<uint32_t> sizes(samples);
  for (uint32_t i = 0; i < samples; ++i) sizes[i] = kSizes[i % kSamplesPerChunk];
  std::vector<uint64_t> offsets(chunks);
  for (uint32_t i = 0; i < chunks; ++i) offsets[i] = media_offset + i % 2 * kChunkBytes;
  const uint32_t duration = samples * kSampleDelta;
  const Bytes entry = audio_entry("samr", 1, 8000, damr(0, 0, 0x81FF, 0, 1));
  const Bytes stbl = box("stbl", {stsd({entry}), stts({{samples, kSampleDelta}}),
                                  stsc({{1, kSamplesPerChunk}}), stsz(sizes), stco(offsets)});
  const Bytes mdia = box("mdia", {mdhd({.time_scale = kTimeScale, .duration = duration}), hdlr("soun"),
                                  box("minf", {full_box("smhd", 0, 0, Bytes(4)), dinf(), stbl})});
  return box("moov", {mvhd({.duration = 1000}), box("trak", {tkhd({.duration = 1000}), mdia})});
}

Bytes whole_file(uint32_t samples) {
  const Bytes front = ftyp();
  const Bytes media(2 * kChunkBytes, 0x5A);
  const size_t moov_size = moov(samples, 0).size();
  return concat({front, moov(samples, front.size() + moov_size + 8), box("mdat", media)});
}

// 25 pictures per chunk, the first of them a sync sample.
constexpr uint32_t kPicturesPerChunk = 25;
constexpr uint32_t picture_size(uint32_t index) {
  return index % kPicturesPerChunk == 0 ? 120000 : 28000 + index % 7 * 4001;
}

// 640 x 480 at 25 pictures per second; other programs read the dimensions from this.
const Bytes kSps = {0x67, 0x42, 0xC0, 0x1E, 0xD9, 0x00, 0xA0, 0x3D, 0xB0, 0x11, 0x00, 0x00,
                    0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x32, 0x0F, 0x16, 0x2E, 0x48};
const Bytes kPps = {0x68, 0xCB, 0x83, 0xCB, 0x20};

Bytes pictures_moov(uint32_t pictures, uint64_t media_offset) {
  std::vector<uint32_t> sizes(pictures);
  std::vector<uint64_t> offsets;
  for (uint32_t i = 0; i < pictures; ++i) {
    sizes[i] = picture_size(i);
    if (i % kPicturesPerChunk == 0) offsets.push_back(media_offset);
    media_offset += sizes[i];
  }
  const Bytes entry = video_entry("avc1", 640, 480, avcc({.sps = {kSps}, .pps = {kPps}}));
  const Bytes stbl = box("stbl", {stsd({entry}), stts({{pictures, 40}}), stsc({{1, kPicturesPerChunk}}),
                                  stsz(sizes), stco(offsets)});
  const Bytes mdia =
      box("mdia", {mdhd({.time_scale = 1000, .duration = pictures * uint64_t{40}}), hdlr("vide"),
                   box("minf", {full_box("vmhd", 0, 1, Bytes(8)), dinf(), stbl})});
  return box("moov", {mvhd({.duration = 1000}),
                      box("trak", {tkhd({.duration = 1000, .width = 640, .height = 480}), mdia})});
}

const TempFolder& folder() {
  static const TempFolder made;
  return made;
}

}  // namespace

void write_large_movie(const std::filesystem::path& path) {
  uint32_t pictures = 0;
  uint64_t media = 0;
  while (media < kLargeMovieBytes || pictures % kPicturesPerChunk != 0) media += picture_size(pictures++);
  const Bytes front = ftyp();
  const size_t moov_size = pictures_moov(pictures, 0).size();
  const Bytes head = concat({front, pictures_moov(pictures, front.size() + moov_size + 8),
                             header(static_cast<uint32_t>(media + 8), "mdat")});
  write_file(path, {reinterpret_cast<const char*>(head.data()), head.size()});
  // Writes real bytes, because holes are read at another speed.
  std::ofstream file(path, std::ios::binary | std::ios::app);
  const std::string block(1 << 20, 'v');
  for (uint64_t left = media; left != 0;) {
    const uint64_t part = std::min<uint64_t>(left, block.size());
    file.write(block.data(), static_cast<std::streamsize>(part));
    left -= part;
  }
  require(file.good(), "writing the large file");
}

void write_huge_movie(const std::filesystem::path& path, uint32_t samples) {
  const Bytes bytes = whole_file(samples);
  write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void print_peak_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) std::puts(line.c_str());
  }
}

const std::u16string& large_movie() {
  static const std::u16string path = [] {
    const auto place = folder() / "large.mp4";
    write_large_movie(place);
    return place.u16string();
  }();
  return path;
}

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "benchmark set-up failed: %s\n", what);
  std::exit(1);
}

const std::u16string& huge_movie(uint32_t samples) {
  static std::map<uint32_t, std::u16string> made;
  const auto [place, is_new] = made.try_emplace(samples);
  if (is_new) {
    const auto path = folder() / (std::to_string(samples) + ".mp4");
    write_huge_movie(path, samples);
    place->second = path.u16string();
  }
  return place->second;
}

OpenMovie::OpenMovie(const std::u16string& path) {
  descriptor_.type = FMGR_DEV_FILE_W;
  descriptor_.source.wide_path = path.c_str();
  const FMGR_Config unbuffered{0, 0};
  require(FMGR_Init(&context_, &unbuffered) == FMGR_OK, "FMGR_Init");
  require(P3GPP_Open(&file_, &descriptor_, context_) == P3GPP_OK, "P3GPP_Open");
}

OpenMovie::~OpenMovie() {
  P3GPP_Close(file_);
  FMGR_Deinit(context_);
}

OpenTrack::OpenTrack(const OpenMovie& movie, uint32_t cache_budget) {
  require(P3GPP_OpenTrack(movie.file(), &track_, 1, cache_budget) == P3GPP_OK, "P3GPP_OpenTrack");
}

OpenTrack::~OpenTrack() {
  P3GPP_CloseTrack(track_);
}

}  // namespace zdr::bench
