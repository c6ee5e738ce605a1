#include "tests/filters/filter_under_test.h"

#include <gtest/gtest.h>
#include <session.h>

#include <cstdlib>
#include <new>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/sources/first_sample.h"

namespace zdr::tests {
namespace {

// The worker's function is not for everyone; a derived class may name it.
struct WorkerAccess : CSourceStream {
  using CSourceStream::FillBuffer;
};

// Tests that run at the same time must not set each other's events, unless they are meant to.
bool join_session() {
  const char* const session = std::getenv("ZDR_TEST_SESSION");
  return session != nullptr ? platform::set_session(session) : platform::set_private_session();
}

CBaseFilter& base(IBaseFilter* filter) {
  return static_cast<CBaseFilter&>(*filter);
}

}  // namespace

std::u16string wide(std::string_view ascii) {
  return {ascii.begin(), ascii.end()};
}

HRESULT create_filter(com::ComPtr<IBaseFilter>& filter) {
  com::ComPtr<IClassFactory> factory;
  const HRESULT hr = DllGetClassObject(mp4source::kClsidSourceFilter, IID_IClassFactory, factory.out_void());
  return FAILED(hr) ? hr : factory->CreateInstance(nullptr, IID_IBaseFilter, filter.out_void());
}

FilterUnderTest::FilterUnderTest() {
  static const bool kJoined = join_session();
  EXPECT_TRUE(kJoined);
  for (auto* mark :
       {&mp4source::g_first_iso_sample, &mp4source::g_first_amr_sample, &mp4source::g_first_aac_sample}) {
    mark->due = true;
  }
  if (FAILED(create_filter(filter))) throw std::bad_alloc();
  EXPECT_EQ(filter->QueryInterface(IID_IFileSourceFilter, file_source.out_void()), S_OK);
}

FilterUnderTest::FilterUnderTest(const test::MovieDescription& movie, std::string_view file_name)
    : FilterUnderTest() {
  load_result_ = load(test::build_movie(movie).bytes, file_name);
}

HRESULT FilterUnderTest::load(const test::Bytes& bytes, std::string_view file_name) {
  const std::filesystem::path path = folder / file_name;
  write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return load(path);
}

HRESULT FilterUnderTest::load(const std::filesystem::path& path) {
  return file_source->Load(wide(path.string()).c_str(), nullptr);
}

std::vector<std::string> FilterUnderTest::pin_names() {
  std::vector<std::string> names;
  for (int i = 0; i < pin_count(); ++i) {
    // Without memory for it, a pin has no name.
    const LPCWSTR name = pin(i).Name();
    const std::u16string_view text = name != nullptr ? name : u"";
    names.emplace_back(text.begin(), text.end());
  }
  return names;
}

int FilterUnderTest::pin_count() {
  return base(filter.get()).GetPinCount();
}

CZanMP4SourceOutputPin& FilterUnderTest::pin(int index) {
  return static_cast<CZanMP4SourceOutputPin&>(*base(filter.get()).GetPin(index));
}

com::ComPtr<IMediaSeeking> FilterUnderTest::seeking(int index) {
  com::ComPtr<IMediaSeeking> seeking;
  EXPECT_EQ(static_cast<IPin&>(pin(index)).QueryInterface(IID_IMediaSeeking, seeking.out_void()), S_OK);
  return seeking;
}

HRESULT FilterUnderTest::fill(int pin_index, IMediaSample& sample) {
  CSourceStream& stream = pin(pin_index);
  return (stream.*&WorkerAccess::FillBuffer)(&sample);
}

std::ostream& operator<<(std::ostream& out, const Filled& each) {
  return out << each.start << '-' << each.stop << (each.sync ? " sync" : "")
             << (each.preroll ? " preroll" : "") << (each.discontinuity ? " discontinuity " : " ")
             << each.data.size() << " bytes";
}

Filled FilterUnderTest::fill(LONG room) {
  FakeSample sample(room);
  EXPECT_EQ(fill(0, sample), S_OK);
  return {sample.start, sample.stop, sample.sync, sample.preroll, sample.discontinuity, sample.data()};
}

std::vector<Filled> FilterUnderTest::play(LONG room) {
  std::vector<Filled> all;
  FakeSample sample(room);
  for (; fill(0, sample) == S_OK; sample = FakeSample(room)) {
    all.push_back(
        {sample.start, sample.stop, sample.sync, sample.preroll, sample.discontinuity, sample.data()});
  }
  return all;
}

HRESULT FilterUnderTest::seek(REFERENCE_TIME start) {
  return seeking(0)->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, 0);
}

}  // namespace zdr::tests
