// Every sample of real files, against a plain reader that expands the tables of the whole file.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "gtest/gtest.h"
#include "opened_movie.h"
#include "plain_reader.h"

namespace zdr::test {
namespace {

std::vector<std::filesystem::path> files_in(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Bytes content_of(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void expect_sample(P3gppTrack* track, const PlainSample& expected, uint32_t number, const Bytes& file) {
  Bytes bytes(expected.size);
  P3gppSample sample{};
  sample.number = number;
  sample.buffer = bytes.data();
  const bool in_file = expected.offset + expected.size <= file.size();
  ASSERT_EQ(P3GPP_ReadSample(track, &sample), in_file ? P3GPP_OK : P3GPP_ERR_READ) << "sample " << number;
  EXPECT_EQ(sample.file_offset, expected.offset) << "sample " << number;
  EXPECT_EQ(sample.size, expected.size) << "sample " << number;
  EXPECT_EQ(sample.description_index, expected.description_index) << "sample " << number;
  EXPECT_EQ(sample.decoding_time, expected.decoding_time) << "sample " << number;
  EXPECT_EQ(sample.composition_time, expected.composition_time) << "sample " << number;
  if (in_file) {
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), file.data() + expected.offset)) << "sample " << number;
  }
}

// Number of samples compared. Tracks that the parser refuses are left out; that it refuses the right ones is
// tested elsewhere.
size_t compare_tracks(P3gppFile* file, const Bytes& bytes) {
  size_t compared = 0;
  for (const PlainTrack& expected : read_plainly(bytes)) {
    SCOPED_TRACE("track " + std::to_string(expected.id));
    P3gppTrack* track = nullptr;
    if (P3GPP_OpenTrack(file, &track, expected.id, 1024) != P3GPP_OK) continue;
    for (uint32_t n = 1; n <= expected.samples.size() && !::testing::Test::HasFailure(); ++n) {
      expect_sample(track, expected.samples[n - 1], n, bytes);
    }
    compared += expected.samples.size();
    P3GPP_CloseTrack(track);
  }
  return compared;
}

size_t compare_file(const std::filesystem::path& path, bool must_open) {
  SCOPED_TRACE(path.filename().string());
  const Bytes bytes = content_of(path);
  const OpenedMovie movie(bytes);
  const bool opened = movie.status == P3GPP_OK;
  EXPECT_TRUE(opened || !must_open);
  return opened ? compare_tracks(movie.file, bytes) : 0;
}

bool is_iso_media(const std::filesystem::path& path) {
  const std::string extension = path.extension().string();
  return extension == ".mp4" || extension == ".3gp";
}

TEST(RealFiles, EverySampleLiesWhereAPlainReaderFindsIt) {
  size_t files = 0;
  for (const auto& path : files_in(ZDR_SAMPLES_DIR)) {
    if (!is_iso_media(path)) continue;
    EXPECT_GT(compare_file(path, true), 10U) << path;
    ++files;
  }
  EXPECT_GE(files, 5U);
  if (const char* more = std::getenv("ZDR_EXTRA_MEDIA")) {
    size_t samples = 0;
    for (const auto& path : files_in(more)) samples += compare_file(path, false);
    RecordProperty("extra_samples", static_cast<int>(samples));
  }
}

}  // namespace
}  // namespace zdr::test
