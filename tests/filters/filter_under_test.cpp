#include "tests/filters/filter_under_test.h"

#include <gtest/gtest.h>

#include "filters/source/mp4/first_sample.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::tests {
namespace {

// The worker's function is not for everyone; a derived class may name it.
struct WorkerAccess : CSourceStream {
  using CSourceStream::FillBuffer;
};

CBasePin* base_pin(IPin* pin) {
  return static_cast<CBasePin*>(pin);
}

std::vector<com::ComPtr<IPin>> pins_of(IBaseFilter* filter) {
  std::vector<com::ComPtr<IPin>> pins;
  com::ComPtr<IEnumPins> enumerator;
  EXPECT_EQ(filter->EnumPins(enumerator.out()), S_OK);
  for (com::ComPtr<IPin> pin; enumerator->Next(1, pin.out(), nullptr) == S_OK;) pins.push_back(pin);
  return pins;
}

}  // namespace

std::u16string wide(std::string_view ascii) {
  return {ascii.begin(), ascii.end()};
}

FilterUnderTest::FilterUnderTest() {
  mp4source::rearm_first_sample_marks();
  com::ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(mp4source::kClsidSourceFilter, IID_IClassFactory, factory.out_void()), S_OK);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.out_void()), S_OK);
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
  for (const auto& pin : pins_of(filter.get())) {
    const std::u16string_view name = base_pin(pin.get())->Name();
    names.emplace_back(name.begin(), name.end());
  }
  return names;
}

CZanMP4SourceOutputPin& FilterUnderTest::pin(int index) {
  const auto pins = pins_of(filter.get());
  return static_cast<CZanMP4SourceOutputPin&>(*base_pin(pins.at(static_cast<size_t>(index)).get()));
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

}  // namespace zdr::tests
