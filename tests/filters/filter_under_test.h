// FilterUnderTest: the source filter as a host gets it, from the module's class factory, with files that the
// test describes. Its pins can be asked for single samples, without threads, or played into sinks
// (sink_graph.h).
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "filters/source/mp4/filter/mp4_pin.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/temp_folder.h"
#include "tests/filters/fake_sample.h"

namespace zdr::tests {

using mp4source::CZanMP4SourceOutputPin;

// What the worker's function made of one sample.
struct Filled {
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool sync = false;
  bool preroll = false;
  bool discontinuity = false;
  std::vector<BYTE> data;
  bool operator==(const Filled&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Filled& each);

class FilterUnderTest {
 public:
  // Makes the filter; nothing is loaded. bad_alloc when it cannot be made.
  FilterUnderTest();
  // Loads the movie as `file_name`.
  explicit FilterUnderTest(const test::MovieDescription& movie, std::string_view file_name = "clip.mp4");
  // Loads a movie of that track. runtime_error when that fails.
  explicit FilterUnderTest(const test::TrackDescription& track)
      : FilterUnderTest(test::MovieDescription{.tracks = {track}}) {
    if (load_result_ != S_OK) throw std::runtime_error("the track cannot be loaded");
  }

  // Writes the bytes under that name, and loads them.
  HRESULT load(const test::Bytes& bytes, std::string_view file_name = "clip.mp4");
  HRESULT load(const std::filesystem::path& path);
  HRESULT load_result() const { return load_result_; }

  // In the filter's order.
  std::vector<std::string> pin_names();
  int pin_count();
  CZanMP4SourceOutputPin& pin(int index);
  com::ComPtr<IMediaSeeking> seeking(int index);

  // One call of the worker's function on that pin; the worker itself does not run.
  HRESULT fill(int pin_index, IMediaSample& sample);
  // The same with a sample of that size, which must be filled.
  Filled fill(LONG room = kRoom);
  // Of the first pin, until one is not filled.
  std::vector<Filled> play(LONG room = kRoom);
  // Of all pins, through the first.
  HRESULT seek(REFERENCE_TIME start);

  static constexpr LONG kRoom = 100000;
  com::ComPtr<IBaseFilter> filter;
  com::ComPtr<IFileSourceFilter> file_source;
  TempFolder folder;

 private:
  HRESULT load_result_ = S_OK;
};

std::u16string wide(std::string_view ascii);

}  // namespace zdr::tests
