#include "bench/huge_movie.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>

#include "tests/support/box_builder.h"
#include "tests/support/temp_folder.h"

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
  const Bytes entry = audio_entry("mp4a", 2, kTimeScale, esds({.decoder_specific_info = {0x12, 0x10}}));
  const Bytes stbl = box("stbl", {stsd({entry}), stts({{samples, kSampleDelta}}),
                                  stsc({{1, kSamplesPerChunk}}), stsz(sizes), stco(offsets)});
  const Bytes mdia = box("mdia", {mdhd({.time_scale = kTimeScale, .duration = duration}), hdlr("soun"),
                                  box("minf", {smhd(), dinf(), stbl})});
  return box("moov", {mvhd({.duration = 1000}), box("trak", {tkhd({.duration = 1000}), mdia})});
}

Bytes whole_file(uint32_t samples) {
  const Bytes front = ftyp();
  const Bytes media(2 * kChunkBytes, 0x5A);
  const size_t moov_size = moov(samples, 0).size();
  return concat({front, moov(samples, front.size() + moov_size + 8), box("mdat", media)});
}

}  // namespace

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "benchmark set-up failed: %s\n", what);
  std::exit(1);
}

const std::u16string& huge_movie(uint32_t samples) {
  static const tests::TempFolder folder;
  static std::map<uint32_t, std::u16string> made;
  const auto [place, is_new] = made.try_emplace(samples);
  if (is_new) {
    const auto path = folder / (std::to_string(samples) + ".m4a");
    const Bytes bytes = whole_file(samples);
    tests::write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
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
