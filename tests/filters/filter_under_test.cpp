// Creates the filter through the module's class factory, loads files and fills samples.
#include "tests/filters/filter_under_test.h"

#include <gtest/gtest.h>
#include <session.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/sources/first_sample.h"

namespace zdr::test {
namespace {

// Makes the worker's protected function accessible.
struct WorkerAccess : CSourceStream {
  using CSourceStream::FillBuffer;
};

// Tests that run at the same time must not set each other's events unless that is their purpose.
bool join_session() {
  const char* const session = std::getenv("ZDR_TEST_SESSION");
  return session != nullptr ? platform::set_session(session) : platform::set_private_session();
}

}  // namespace

FilterUnderTest::FilterUnderTest() {
  static const bool kJoined = join_session();
  EXPECT_TRUE(kJoined);
  using namespace mp4source;
  for (auto* mark : {&g_first_iso_sample, &g_first_amr_sample, &g_first_aac_sample}) mark->due = true;
  com::ComPtr<IClassFactory> factory;
  if (FAILED(DllGetClassObject(kClsidSourceFilter, IID_IClassFactory, factory.out_void())) ||
      FAILED(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.out_void()))) {
    throw std::bad_alloc();
  }
  EXPECT_EQ(filter->QueryInterface(IID_IFileSourceFilter, file_source.out_void()), S_OK);
}

FilterUnderTest::FilterUnderTest(const MovieDescription& movie, std::string_view file_name)
    : FilterUnderTest() {
  load_result_ = load(build_movie(movie).bytes, file_name);
}

std::filesystem::path FilterUnderTest::write(const Bytes& bytes, std::string_view file_name) {
  write_file(folder / file_name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return folder / file_name;
}

HRESULT FilterUnderTest::load(const Bytes& bytes, std::string_view file_name) {
  return load(write(bytes, file_name));
}

HRESULT FilterUnderTest::load(const std::filesystem::path& path) {
  return file_source->Load(path.u16string().c_str(), nullptr);
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
  return static_cast<CBaseFilter&>(*filter.get()).GetPinCount();
}

CZanMP4SourceOutputPin& FilterUnderTest::pin(int index) {
  CBasePin* const pin = static_cast<CBaseFilter&>(*filter.get()).GetPin(index);
  if (pin == nullptr) throw std::out_of_range("the file has no such pin");
  return static_cast<CZanMP4SourceOutputPin&>(*pin);
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

Filled FilterUnderTest::fill(LONG capacity) {
  FakeSample sample(capacity);
  EXPECT_EQ(fill(0, sample), S_OK);
  return sample.content();
}

std::vector<Filled> FilterUnderTest::play(LONG capacity) {
  for (std::vector<Filled> all;;) {
    FakeSample sample(capacity);
    if (fill(0, sample) != S_OK) return all;
    all.push_back(sample.content());
  }
}

HRESULT FilterUnderTest::seek(REFERENCE_TIME start) {
  return seeking(0)->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, 0);
}

}  // namespace zdr::test
