// The pin's type, buffers and samples, all of which its source provides.
#include "filters/source/mp4/filter/mp4_pin.h"

#include <limits>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "filters/source/mp4/sources/aac_source.h"
#include "filters/source/mp4/sources/amr_source.h"
#include "filters/source/mp4/sources/iso_source.h"
#include "platform/com/status_guard.h"

namespace zdr::mp4source {
namespace {

constexpr LONG kBufferCount = 4;
constexpr HRESULT kNoSampleSize = -1;

}  // namespace

CZanMP4SourceOutputPin::CZanMP4SourceOutputPin(HRESULT* phr, CSource* filter, PinOwner& owner,
                                               SharedPlayback& shared, LPCWSTR name)
    : CZanBaseSourceOutputPin(NAME("Zandor source pin"), phr, filter, owner, name), shared_(shared) {}

CZanMP4SourceOutputPin::~CZanMP4SourceOutputPin() {
  end_worker();
}

int CZanMP4SourceOutputPin::SetupTrack(P3gppFile* file, uint32_t track_id, StreamKind stream,
                                       uint64_t file_size) {
  auto source = std::make_unique<IsoSource>(context());
  if (!source->open(file, track_id, stream, file_size)) return 1;
  source_ = std::move(source);
  return 0;
}

void CZanMP4SourceOutputPin::SetupAmrFile(AmrFilePointer reader) {
  source_ = std::make_unique<AmrSource>(context(), std::move(reader));
}

void CZanMP4SourceOutputPin::SetupAacFile(AacFilePointer reader) {
  source_ = std::make_unique<AacSource>(context(), std::move(reader));
}

// Kept: the filter is of the kind of the clip opened last. A pin whose source is of another kind fills
// nothing, and neither offers nor accepts a type.
SampleSource* CZanMP4SourceOutputPin::active_source() const {
  return source_->kind() == shared_.source_kind ? source_.get() : nullptr;
}

// A track's largest sample is known even while the filter has another kind.
uint64_t CZanMP4SourceOutputPin::sample_bytes() const {
  const bool is_known = source_->track_info() != nullptr || active_source() != nullptr;
  return is_known ? source_->sample_bytes() : 0;
}

DWORD CZanMP4SourceOutputPin::GetDurationMs() {
  const DWORD duration_ms = source_->duration_ms();
  set_stop_position(ms_to_reference_time(duration_ms));
  return duration_ms;
}

void CZanMP4SourceOutputPin::rewind() {
  if (SampleSource* const source = active_source()) source->rewind();
}

HRESULT CZanMP4SourceOutputPin::GetMediaType(int position, CMediaType* type) {
  CheckPointer(type, E_POINTER);
  if (position < 0) return E_INVALIDARG;
  if (position > 0) return VFW_S_NO_MORE_ITEMS;
  SampleSource* const source = active_source();
  if (source == nullptr) return kTypeNotBuilt;
  return com::guarded([&] { return source->build_media_type(*type); });
}

bool CZanMP4SourceOutputPin::LacksMemory(HRESULT hr) const noexcept {
  return hr == kNoSpeechFormat || CZanBaseSourceOutputPin::LacksMemory(hr);
}

HRESULT CZanMP4SourceOutputPin::CheckMediaType(const CMediaType* type) {
  CheckPointer(type, E_POINTER);
  SampleSource* const source = active_source();
  return com::guarded([&] { return source != nullptr && source->accepts(*type) ? S_OK : E_FAIL; });
}

HRESULT CZanMP4SourceOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  if (allocator == nullptr || properties == nullptr) return E_POINTER;
  uint64_t bytes = 0;
  const HRESULT measured = com::guarded([&] {
    bytes = sample_bytes();
    return S_OK;
  });
  if (FAILED(measured)) return measured;
  if (bytes == 0) return kNoSampleSize;
  if (bytes > uint64_t{std::numeric_limits<LONG>::max()}) return E_OUTOFMEMORY;
  properties->cBuffers = kBufferCount;
  const LONG requested = static_cast<LONG>(bytes);
  properties->cbBuffer = requested;
  ALLOCATOR_PROPERTIES granted{};
  const HRESULT hr = allocator->SetProperties(properties, &granted);
  if (FAILED(hr)) return hr;
  const bool suffices = granted.cBuffers >= kBufferCount && granted.cbBuffer >= requested;
  return suffices ? hr : E_FAIL;
}

// Kept: the time counts from the segment start of the longest pin, not from the start of the file.
HRESULT CZanMP4SourceOutputPin::GetCurrentPosition(LONGLONG* current) {
  CheckPointer(current, E_POINTER);
  const CAutoLock lock(&owner_.position_lock);
  if (shared_.longest_pin == nullptr) return E_UNEXPECTED;
  *current = shared_.longest_pin->source_->last_delivered();
  return S_OK;
}

HRESULT CZanMP4SourceOutputPin::Notify(IBaseFilter*, Quality quality) {
  return com::guarded([&] {
    source_->skip_if_late(quality.Late);
    return S_OK;
  });
}

HRESULT CZanMP4SourceOutputPin::FillBuffer(IMediaSample* sample) {
  if (SampleSource* const source = active_source()) return source->fill(sample);
  clear_seek_pending();
  return S_FALSE;
}

HRESULT CZanMP4SourceOutputPin::OnThreadCreate() {
  seek_sync().worker_created(stream());
  return S_OK;
}

HRESULT CZanMP4SourceOutputPin::OnThreadDestroy() {
  seek_sync().worker_ended(stream());
  return S_OK;
}

HRESULT CZanMP4SourceOutputPin::DoBufferProcessingLoop() {
  seek_sync().loop_entered(stream());
  const HRESULT hr = CZanBaseSourceOutputPin::DoBufferProcessingLoop();
  seek_sync().loop_left(stream());
  return hr;
}

void CZanMP4SourceOutputPin::rebase_both_pins(REFERENCE_TIME start) {
  const CAutoLock lock(&owner_.position_lock);
  for (CZanMP4SourceOutputPin* const pin : {shared_.audio_pin, shared_.video_pin}) {
    if (pin != nullptr) pin->rebase_segment(start);
  }
}

}  // namespace zdr::mp4source
