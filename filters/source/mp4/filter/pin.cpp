// The pin of one stream: binding to its track, its type, its buffers, quality control.
#include <limits>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/media_types/media_type.h"

namespace zdr::mp4source {
namespace {

constexpr LONG kBufferCount = 4;
constexpr HRESULT kNoSampleSize = -1;

}  // namespace

CZanMP4SourceOutputPin::CZanMP4SourceOutputPin(HRESULT* phr, CZanMP4SourceFilter* source, LPCWSTR name)
    : CZanBaseSourceOutputPin(NAME("Zandor source pin"), phr, source, name), source_(source) {}

CZanMP4SourceOutputPin::~CZanMP4SourceOutputPin() {
  end_worker();
}

int CZanMP4SourceOutputPin::SetupTrack(P3gppFile* file, uint32_t track_id, Stream stream,
                                       uint64_t file_size) {
  const std::lock_guard lock(mutex_);
  return track_.open(file, track_id, stream, file_size) ? 0 : 1;
}

void CZanMP4SourceOutputPin::SetupFile(std::unique_ptr<FileStream> stream) {
  const std::lock_guard lock(mutex_);
  file_stream_ = std::move(stream);
}

void CZanMP4SourceOutputPin::rewind_file() {
  const std::lock_guard lock(mutex_);
  if (FileStream* const stream = file_stream()) stream->rewind();
}

DWORD CZanMP4SourceOutputPin::GetDurationMs() {
  const FileStream* const stream = file_stream();
  const DWORD duration_ms = stream != nullptr ? stream->duration_ms() : track_.duration_ms();
  set_stop_position(ms_to_reference_time(duration_ms));
  return duration_ms;
}

HRESULT CZanMP4SourceOutputPin::GetMediaType(int position, CMediaType* type) {
  CheckPointer(type, E_POINTER);
  if (position < 0) return E_INVALIDARG;
  if (position > 0) return VFW_S_NO_MORE_ITEMS;
  const std::lock_guard lock(mutex_);
  if (plays_iso_media()) return build_media_type({track_, source_->frame_rate()}, *type);
  FileStream* const stream = file_stream();
  return stream != nullptr ? stream->build_media_type(*type) : kTypeNotBuilt;
}

HRESULT CZanMP4SourceOutputPin::CheckMediaType(const CMediaType* type) {
  CheckPointer(type, E_POINTER);
  // Kept: the pin of a speech or AAC file accepts whatever it is offered.
  if (file_stream() != nullptr) return S_OK;
  const std::lock_guard lock(mutex_);
  return plays_iso_media() && accepts_media_type(track_, *type) ? S_OK : E_FAIL;
}

uint64_t CZanMP4SourceOutputPin::sample_bytes() const {
  if (const FileStream* const stream = file_stream()) return stream->sample_bytes();
  uint64_t bytes = track_.largest_sample();
  if (bytes == 0) return 0;
  if (track_.stream() != Stream::kAudio) return bytes;
  // Kept: room for a group on every audio pin, also where a sample carries one unit.
  bytes *= kUnitsPerGroup;
  return track_.is_aac() ? bytes + kSizeTableBytes : bytes;
}

HRESULT CZanMP4SourceOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  if (allocator == nullptr || properties == nullptr) return E_POINTER;
  const uint64_t bytes = sample_bytes();
  if (bytes == 0) return kNoSampleSize;
  if (bytes > uint64_t{std::numeric_limits<LONG>::max()}) return E_OUTOFMEMORY;
  properties->cBuffers = kBufferCount;
  const LONG asked = static_cast<LONG>(bytes);
  properties->cbBuffer = asked;
  ALLOCATOR_PROPERTIES granted{};
  const HRESULT hr = allocator->SetProperties(properties, &granted);
  if (FAILED(hr)) return hr;
  const bool suffices = granted.cBuffers >= kBufferCount && granted.cbBuffer >= asked;
  return suffices ? hr : E_FAIL;
}

HRESULT CZanMP4SourceOutputPin::Notify(IBaseFilter*, Quality quality) {
  if (track_.stream() == Stream::kAudio) return S_OK;
  const std::lock_guard lock(mutex_);
  track_.skip_if_late(quality.Late);
  return S_OK;
}

}  // namespace zdr::mp4source
