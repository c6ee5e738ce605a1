// Real files: what the parser returns for those of samples/ is pinned, and a failure to open names the box.
// ZDR_EXTRA_MEDIA may name a folder of further files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "mediakit/drivers/exercise.h"
#include "tests/p3gpp/opened_movie.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

// The samples, and the files of the further folder.
std::vector<std::filesystem::path> real_files() {
  std::vector<std::filesystem::path> files;
  for (const char* folder : {ZDR_SAMPLES_DIR, static_cast<const char*>(std::getenv("ZDR_EXTRA_MEDIA"))}) {
    if (folder == nullptr) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  return files;
}

// The checksums cover every box, record and sample. They are pinned; a change here changes what players get.
const std::map<std::string, uint64_t> kChecksums = {
    {"ac3.mp4", 0x3AA1A5744F5A0190},         {"avc-aac.mp4", 0xF7926C5C77573193},
    {"avc-bframes.mp4", 0xFFF5F4128BDF78F3}, {"eac3.mp4", 0xB7DF831D171EA7AF},
    {"h263-amr.3gp", 0xCE4DDF710B86C29F},    {"moov-first.3gp", 0x3E0657E5D2C5C2C6},
    {"mpeg4-amrwb.3gp", 0x7EFD800D731DC5AB}, {"two-tracks.3gp", 0x32169397377CF765}};

TEST(RealFiles, YieldTheirSamplesOrNameTheBoxWhereTheyFail) {
  size_t found = 0;
  for (const std::filesystem::path& path : real_files()) {
    SCOPED_TRACE(path.filename());
    const Source source(FMGR_DEV_MEMORY, read_file(path));
    const size_t size = source.content().size();
    const OpenedMovie movie(Fields().text(source.content()).bytes);
    const bool is_named = movie.error.path[0] != '\0';
    EXPECT_EQ(is_named, movie.error.status != P3GPP_OK && movie.error.status != P3GPP_ERR_NO_MOOV);
    EXPECT_LE(movie.error.offset, size);
    const Context context = make_context(0, 0);
    const FailingAllocator watch(0);
    const ExerciseResult result = exercise(source.descriptor(), context.get(), 250);
    EXPECT_LE(watch.largest(), std::max<size_t>(size, 256 * 1024));
    EXPECT_EQ(result.undocumented_status, 0);
    const auto expected = kChecksums.find(path.filename());
    if (expected == kChecksums.end() || path.parent_path() != ZDR_SAMPLES_DIR) continue;
    EXPECT_EQ(result.checksum, expected->second);
    ++found;
  }
  EXPECT_EQ(found, kChecksums.size());
}

}  // namespace
}  // namespace zdr::test
