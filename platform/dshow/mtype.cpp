// Media types: ownership of the format block, comparison, partial matching.
#include "mtype.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "fourcc.h"
#include "uuids.h"

namespace {

bool same_format_block(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b) noexcept {
  if (a.cbFormat != b.cbFormat) return false;
  if (a.cbFormat == 0) return true;
  return a.pbFormat != nullptr && b.pbFormat != nullptr &&
         std::memcmp(a.pbFormat, b.pbFormat, a.cbFormat) == 0;
}

BYTE* allocate_block(ULONG length) noexcept {
  return static_cast<BYTE*>(CoTaskMemAlloc(length));
}

// The sub type stands in the block itself for the extensible tag, behind WAVEFORMATEX, the valid bits (2
// bytes) and the speaker mask (4 bytes).
GUID wave_subtype(const WAVEFORMATEX& wave) noexcept {
  constexpr std::size_t kSubFormatOffset = sizeof(WAVEFORMATEX) + 6;
  if (wave.wFormatTag != WAVE_FORMAT_EXTENSIBLE || wave.cbSize < 6 + sizeof(GUID)) {
    return FOURCCMap(DWORD{wave.wFormatTag});
  }
  GUID subtype;
  std::memcpy(&subtype, reinterpret_cast<const BYTE*>(&wave) + kSubFormatOffset, sizeof subtype);
  return subtype;
}

}  // namespace

CMediaType::CMediaType() noexcept {
  InitMediaType();
}

CMediaType::CMediaType(const GUID* type) noexcept : CMediaType() {
  majortype = *type;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& other, HRESULT* phr) noexcept {
  const HRESULT hr = CopyMediaType(this, &other);
  if (FAILED(hr) && phr != nullptr) *phr = hr;
}

CMediaType::CMediaType(const CMediaType& other, HRESULT* phr) noexcept
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other), phr) {}

CMediaType::~CMediaType() {
  FreeMediaType(*this);
}

CMediaType& CMediaType::operator=(const CMediaType& other) noexcept {
  Set(other);
  return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& other) noexcept {
  Set(other);
  return *this;
}

HRESULT CMediaType::Set(const CMediaType& other) noexcept {
  return Set(static_cast<const AM_MEDIA_TYPE&>(other));
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& other) noexcept {
  if (&other == this) return S_OK;
  FreeMediaType(*this);
  return CopyMediaType(this, &other);
}

void CMediaType::InitMediaType() noexcept {
  static_cast<AM_MEDIA_TYPE&>(*this) = {};
  lSampleSize = 1;
  bFixedSizeSamples = TRUE;
}

bool CMediaType::operator==(const CMediaType& other) const noexcept {
  // Flags, sample size and object are not looked at: filters fill them in as they like.
  return majortype == other.majortype && subtype == other.subtype && formattype == other.formattype &&
         same_format_block(*this, other);
}

void CMediaType::SetSampleSize(ULONG size) noexcept {
  if (size == 0) {
    SetVariableSize();
    return;
  }
  bFixedSizeSamples = TRUE;
  lSampleSize = size;
}

BOOL CMediaType::SetFormat(const BYTE* format, ULONG length) noexcept {
  if (length != 0 && AllocFormatBuffer(length) == nullptr) return FALSE;
  if (length == 0) {
    ResetFormatBuffer();
  } else {
    std::memcpy(pbFormat, format, length);
  }
  return TRUE;
}

void CMediaType::ResetFormatBuffer() noexcept {
  if (cbFormat != 0) CoTaskMemFree(pbFormat);
  cbFormat = 0;
  pbFormat = nullptr;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) noexcept {
  if (length == cbFormat) return pbFormat;
  if (length == 0) {
    // A block of no bytes would be lost: cbFormat says whether there is one to free.
    ResetFormatBuffer();
    return nullptr;
  }
  BYTE* block = allocate_block(length);
  if (block == nullptr) return length <= cbFormat ? pbFormat : nullptr;
  ResetFormatBuffer();
  cbFormat = length;
  pbFormat = block;
  return block;
}

BYTE* CMediaType::ReallocFormatBuffer(ULONG length) noexcept {
  if (length == cbFormat || length == 0) return AllocFormatBuffer(length);
  BYTE* block = allocate_block(length);
  if (block == nullptr) return length <= cbFormat ? pbFormat : nullptr;
  if (cbFormat != 0) std::memcpy(block, pbFormat, std::min(length, cbFormat));
  ResetFormatBuffer();
  cbFormat = length;
  pbFormat = block;
  return block;
}

BOOL CMediaType::MatchesPartial(const CMediaType* partial) const noexcept {
  if (partial->majortype != GUID_NULL && partial->majortype != majortype) return FALSE;
  if (partial->subtype != GUID_NULL && partial->subtype != subtype) return FALSE;
  if (partial->formattype == GUID_NULL) return TRUE;
  return partial->formattype == formattype && same_format_block(*this, *partial);
}

BOOL CMediaType::IsPartiallySpecified() const noexcept {
  // An open sub type alone counts as full: such a type is offered as it is.
  return majortype == GUID_NULL || formattype == GUID_NULL;
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) noexcept {
  *target = *source;
  if (source->cbFormat == 0 || source->pbFormat == nullptr) {
    target->cbFormat = 0;
    target->pbFormat = nullptr;
  } else {
    target->pbFormat = allocate_block(source->cbFormat);
    if (target->pbFormat == nullptr) {
      // Owns nothing now, so that freeing it releases nothing.
      target->cbFormat = 0;
      target->pUnk = nullptr;
      return E_OUTOFMEMORY;
    }
    std::memcpy(target->pbFormat, source->pbFormat, source->cbFormat);
  }
  if (target->pUnk != nullptr) target->pUnk->AddRef();
  return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) noexcept {
  if (type.cbFormat != 0) CoTaskMemFree(type.pbFormat);
  type.cbFormat = 0;
  type.pbFormat = nullptr;
  if (type.pUnk != nullptr) type.pUnk->Release();
  type.pUnk = nullptr;
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) noexcept {
  auto* copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
  if (copy == nullptr) return nullptr;
  if (SUCCEEDED(CopyMediaType(copy, source))) return copy;
  CoTaskMemFree(copy);
  return nullptr;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return;
  FreeMediaType(*type);
  CoTaskMemFree(type);
}

HRESULT CreateAudioMediaType(const WAVEFORMATEX* wave, AM_MEDIA_TYPE* type, BOOL set_format) noexcept {
  type->majortype = MEDIATYPE_Audio;
  type->subtype = wave_subtype(*wave);
  type->formattype = FORMAT_WaveFormatEx;
  type->bFixedSizeSamples = TRUE;
  type->bTemporalCompression = FALSE;
  type->lSampleSize = wave->nBlockAlign;
  type->pUnk = nullptr;
  if (!set_format) return S_OK;

  const bool pcm = wave->wFormatTag == WAVE_FORMAT_PCM;
  type->cbFormat = 0;
  const ULONG length = static_cast<ULONG>(sizeof(WAVEFORMATEX)) + (pcm ? 0 : wave->cbSize);
  type->pbFormat = allocate_block(length);
  if (type->pbFormat == nullptr) return E_OUTOFMEMORY;
  type->cbFormat = length;
  std::memcpy(type->pbFormat, wave, length);
  // Nothing follows the record of PCM, whatever its source said.
  if (pcm) reinterpret_cast<WAVEFORMATEX*>(type->pbFormat)->cbSize = 0;
  return S_OK;
}
