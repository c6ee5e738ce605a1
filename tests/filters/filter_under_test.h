// FilterUnderTest: the source filter as a host gets it, from the module's class factory, with files that the
// test describes. Its pins fill single samples without threads, or play into sinks (sink_graph.h).
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <filesystem>
#include <string>
#include <vector>

#include "filters/source/mp4/filter/mp4_pin.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/temp_folder.h"
#include "tests/filters/fake_sample.h"

namespace zdr::test {

using mp4source::CZanMP4SourceOutputPin;
using Bytes = std::vector<uint8_t>;

inline constexpr REFERENCE_TIME kMs = 10000;

class FilterUnderTest {
 public:
  // Creates the filter without a file. Throws bad_alloc if that fails.
  FilterUnderTest();
  // Loads a movie as `file_name`.
  explicit FilterUnderTest(const MovieDescription& movie, std::string_view file_name = "clip.mp4");
  explicit FilterUnderTest(const TrackDescription& track)
      : FilterUnderTest(MovieDescription{.tracks = {track}}) {}

  // Writes the bytes to a file of that name, and loads it.
  HRESULT load(const Bytes& bytes, std::string_view file_name = "clip.mp4");
  HRESULT load(const std::filesystem::path& path);
  std::filesystem::path write(const Bytes& bytes, std::string_view file_name);
  HRESULT load_result() const { return load_result_; }

  std::vector<std::string> pin_names();
  int pin_count();
  CZanMP4SourceOutputPin& pin(int index);
  com::ComPtr<IMediaSeeking> seeking(int index);
  // Requests the type of the pin.
  HRESULT media_type(CMediaType& type, int index = 0) { return pin(index).GetMediaType(0, &type); }

  // Calls FillBuffer() of that pin on this thread; no worker runs.
  HRESULT fill(int pin_index, IMediaSample& sample);
  // The same with a sample of that size, which must be filled.
  Filled fill(LONG capacity = kCapacity);
  // Fills samples of the first pin until it returns another result than S_OK.
  std::vector<Filled> play(LONG capacity = kCapacity);
  // Seeks all pins through the first.
  HRESULT seek(REFERENCE_TIME start);

  static constexpr LONG kCapacity = 100000;
  com::ComPtr<IBaseFilter> filter;
  com::ComPtr<IFileSourceFilter> file_source;
  TempFolder folder;

 private:
  HRESULT load_result_ = S_OK;
};

}  // namespace zdr::test
