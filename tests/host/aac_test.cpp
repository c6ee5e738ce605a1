// The built program on AAC files.
#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/id3_builder.h"
#include "tests/host/transcript.h"

namespace zdr::test {
namespace {

using namespace std::string_literals;

Bytes tagged_file() {
  const Bytes frames = concat({v23_frame("TIT2", bytes_of("\0A\x1B[2Jsong"s)),
                               v23_frame("TPE1", bytes_of("\1\xFF\xFE\x00\xD8s\0"s)),
                               v23_frame("APIC", bytes_of("\0image/png\0\3\0\x89PNG\r\n\x1A\nxy"s))});
  return concat({id3v2(3, 0, frames), adts_file(100, 400), id3v1("Old", "", "1999", 0xFF)});
}

TEST(ZdrAac, ShowsTagsDecodesAndExplainsRefusals) {
  const Bytes adts = adts_file(10, 400);
  Bytes main_profile = adts;
  main_profile[2] &= 0x3F;
  Bytes six_channels = adts;
  six_channels[2] |= 1;
  const std::pair<const char*, Bytes> kFiles[] = {
      {"song.aac", tagged_file()},
      {"v22.aac", concat({id3v2(2, 0, v22_frame("TT2", bytes_of("\0Song"s))), adts})},
      {"v24.aac", concat({id3v2(4, 0, Bytes(20, 0)), adts})},
      {"bad-tag-size.aac", id3v2(3, 0, adts, 100000)},
      {"bad-tag-flags.aac", concat({id3v2(3, 0x10, Bytes(20, 0)), adts})},
      {"bad-profile.aac", main_profile},
      {"bad-channels.aac", six_channels},
      {"bad-first-frame.aac", Bytes(adts.begin(), adts.begin() + 100)},
      {"bad-after-tag.aac", concat({id3v2(4, 0, Bytes(20, 0)), Bytes(50, 'x')})},
      {"bad-junk.aac", Bytes(100, 'x')},
      // An object type that the decoder names on its console.
      {"bad-raw.aac", concat({{2, 0x0A, 0x10}, Bytes(20, 0xFF)})},
  };
  const TempFolder folder;
  for (const auto& [name, content] : kFiles) {
    write_file(folder / name, {reinterpret_cast<const char*>(content.data()), content.size()});
  }
  expect_transcript("aac", folder);
}

}  // namespace
}  // namespace zdr::test
