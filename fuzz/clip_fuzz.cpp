// Opens arbitrary bytes as two clips of one filter, describes them, and reads the key frames that a script
// names from both.
#include <dshow.h>

#include <cstring>
#include <numeric>
#include <sstream>
#include <string>

#include "fuzz/filter_under_fuzz.h"
#include "fuzz/media_input.h"
#include "host/graph/source_clip.h"

namespace zdr::fuzz {
namespace {

using host::SourceClip;

// Reads the bytes, so that the address sanitizer sees them all.
void touch(Bytes bytes, Bytes file) {
  [[maybe_unused]] static volatile uint64_t sum;
  sum = std::accumulate(bytes.begin(), bytes.end(), uint64_t{0});
  require(bytes.size() <= file.size(), "a clip holds no more than its file");
}

std::string text_of(const mp4source::ClipInfo& info) {
  std::ostringstream out;
  host::JsonWriter json(out);
  host::write_clip(json, info);
  return out.str();
}

void describe(SourceClip& clip, SourceClip& twin) {
  mp4source::ClipInfo info{};
  mp4source::ClipInfo other{};
  const HRESULT hr = clip.info(info);
  require(twin.info(other) == hr, "clips of one file are described alike");
  require(text_of(info) == text_of(other), "clips of one file are the same");
}

void read_key_frame(SourceClip& clip, uint8_t choice, Bytes file) {
  host::ClipBytes frame;
  const HRESULT hr = clip.key_frame(choice == 255 ? 0xFFFFFFFF : choice, frame);
  require(FAILED(hr) ? frame.bytes().empty() : clip.usable(), "a failed read returns nothing");
  touch(frame.bytes(), file);
}

}  // namespace
}  // namespace zdr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zdr::fuzz;
  MediaInput input = split_input({data, size});
  const std::string file = write_media(input.file).string();
  {
    const auto filter = new_source_filter();
    SourceClip clip(*filter.get(), file);
    SourceClip twin(*filter.get(), file);
    require(clip.result() == twin.result(), "a file opens twice or not at all");
    touch(clip.configuration(), input.file);
    describe(clip, twin);
    for (bool second = false; input.script.has_more(); second = !second) {
      read_key_frame(second ? twin : clip, input.script.next(), input.file);
    }
    read_key_frame(clip, 1, input.file);
    describe(twin, clip);
  }
  require(DllCanUnloadNow() == S_OK, "every object is released");
  return 0;
}
