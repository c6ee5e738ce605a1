// The filter as a host plays it: from Load to the first sample, and whole files into a sink that only counts.
#include <benchmark/benchmark.h>
#include <com_ptr.h>
#include <session.h>
#include <streams.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "bench/huge_movie.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);

namespace zdr::bench {
namespace {

class CountingPin final : public CBaseInputPin {
 public:
  CountingPin(CBaseFilter* filter, CCritSec* lock, HRESULT* phr)
      : CBaseInputPin(u"counting pin", filter, lock, phr, u"in") {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT Receive(IMediaSample* sample) override {
    const HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK) return hr;
    bytes_ += static_cast<uint64_t>(sample->GetActualDataLength());
    if (samples_++ == 0) note(first_);
    return S_OK;
  }
  HRESULT EndOfStream() override {
    note(ended_);
    return S_OK;
  }

  void wait_for_first() { wait(first_); }
  void wait_for_end() { wait(ended_); }
  // Once the stream has ended.
  uint64_t samples() const { return samples_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void note(bool& what) {
    const std::lock_guard lock(mutex_);
    what = true;
    changed_.notify_all();
  }
  void wait(const bool& what) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return what; });
  }

  // Of the worker.
  uint64_t samples_ = 0;
  uint64_t bytes_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool first_ = false;
  bool ended_ = false;
};

class CountingSink final : public CBaseFilter {
 public:
  CountingSink() : CBaseFilter(u"counting sink", nullptr, &lock_, GUID_NULL), pin_(this, &lock_, &hr_) {}
  CountingPin& pin() { return pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int) override { return &pin_; }

 private:
  HRESULT hr_ = S_OK;
  CCritSec lock_;
  CountingPin pin_;
};

// A file loaded, its one pin connected and running.
class Playback {
 public:
  explicit Playback(const std::u16string& path) : sink_(new CountingSink) {
    static const bool kAlone = platform::set_private_session();
    com::ComPtr<IClassFactory> factory;
    com::ComPtr<IFileSourceFilter> file;
    com::ComPtr<IEnumPins> pins;
    com::ComPtr<IPin> out;
    require(
        kAlone &&
            DllGetClassObject(mp4source::kClsidSourceFilter, IID_IClassFactory, factory.out_void()) == S_OK &&
            factory->CreateInstance(nullptr, IID_IBaseFilter, filter_.out_void()) == S_OK &&
            filter_->QueryInterface(IID_IFileSourceFilter, file.out_void()) == S_OK &&
            file->Load(path.c_str(), nullptr) == S_OK && filter_->EnumPins(pins.out()) == S_OK &&
            pins->Next(1, out.out(), nullptr) == S_OK && out->Connect(&sink_->pin(), nullptr) == S_OK &&
            sink_->Run(0) == S_OK && filter_->Run(0) == S_OK,
        "playing a file");
  }
  ~Playback() {
    filter_->Stop();
    sink_->Stop();
    com::ComPtr<IPin> out;
    sink_->pin().ConnectedTo(out.out());
    out->Disconnect();
    sink_->pin().Disconnect();
  }
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  CountingPin& pin() { return sink_->pin(); }

 private:
  com::ComPtr<CountingSink> sink_;
  com::ComPtr<IBaseFilter> filter_;
};

void load_to_first_sample(benchmark::State& state) {
  const auto& path = huge_movie(static_cast<uint32_t>(state.range(0)));
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    Playback playback(path);
    playback.pin().wait_for_first();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
}
BENCHMARK(load_to_first_sample)
    ->Arg(5000)
    ->Arg(1500000)
    ->Arg(15503906)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void play(benchmark::State& state, const std::u16string& path, uint64_t access_units_per_sample) {
  uint64_t samples = 0;
  uint64_t bytes = 0;
  for (auto _ : state) {
    Playback playback(path);
    playback.pin().wait_for_end();
    samples += playback.pin().samples();
    bytes += playback.pin().bytes();
  }
  state.SetItemsProcessed(static_cast<int64_t>(samples * access_units_per_sample));
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void play_small_samples(benchmark::State& state) {
  play(state, huge_movie(1500000), 10);
}
BENCHMARK(play_small_samples)->UseRealTime()->Unit(benchmark::kMillisecond);

void play_a_gigabyte(benchmark::State& state) {
  play(state, large_movie(), 1);
}
BENCHMARK(play_a_gigabyte)->UseRealTime()->Unit(benchmark::kMillisecond);

// The same pieces in the same order by nothing but reads: the ceiling of the one above.
void read_a_gigabyte_plainly(benchmark::State& state) {
  const auto& path = large_movie();
  std::vector<uint32_t> sizes;
  {
    const OpenMovie movie(path);
    const OpenTrack track(movie, 24576);
    P3gppSample sample{};
    for (sample.number = 1; P3GPP_ReadSample(track.get(), &sample) == P3GPP_OK; ++sample.number) {
      sizes.push_back(sample.size);
    }
  }
  std::vector<char> buffer(static_cast<size_t>(state.range(0)) << 18);
  size_t next = 0;
  uint64_t bytes = 0;
  for (auto _ : state) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    require(file != INVALID_HANDLE_VALUE, "opening the large file");
    for (const uint32_t size : sizes) {
      DWORD moved = 0;
      next = (next + 1) % static_cast<size_t>(state.range(0));
      require(ReadFile(file, buffer.data() + (next << 18), size, &moved, nullptr) != FALSE, "reading");
      bytes += moved;
    }
    CloseHandle(file);
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(read_a_gigabyte_plainly)->Arg(1)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zdr::bench
