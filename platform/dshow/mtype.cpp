// Ownership of the format block, and partial matching.
#include "mtype.h"

#include <cstring>

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

}  // namespace

CMediaType::CMediaType() noexcept {
  InitMediaType();
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& other) noexcept {
  CopyMediaType(this, &other);
}

CMediaType::CMediaType(const CMediaType& other) noexcept
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other)) {}

CMediaType::~CMediaType() {
  FreeMediaType(*this);
}

CMediaType& CMediaType::operator=(const CMediaType& other) noexcept {
  Set(other);
  return *this;
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

void CMediaType::ResetFormatBuffer() noexcept {
  if (cbFormat != 0) CoTaskMemFree(pbFormat);
  cbFormat = 0;
  pbFormat = nullptr;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) noexcept {
  BYTE* const block = length != 0 ? allocate_block(length) : nullptr;
  if (block == nullptr) return nullptr;
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
  // Kept: a type that lacks only the subtype counts as fully specified.
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
      // The record owns nothing now, so freeing it is harmless.
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
