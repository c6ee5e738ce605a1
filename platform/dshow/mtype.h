// Media types as values: CMediaType owns the format block and the object of its AM_MEDIA_TYPE, which the free
// functions below handle by hand.
#pragma once

#include "media_records.h"
#include "mmreg.h"

// Adds nothing to the record but functions, so a pointer to one is a pointer to the other.
class CMediaType : public AM_MEDIA_TYPE {
 public:
  CMediaType() noexcept;
  explicit CMediaType(const GUID* majortype) noexcept;
  // Deep copies; *phr (may be NULL) is set when memory runs out.
  CMediaType(const AM_MEDIA_TYPE& other, HRESULT* phr = nullptr) noexcept;
  CMediaType(const CMediaType& other, HRESULT* phr = nullptr) noexcept;
  ~CMediaType();

  CMediaType& operator=(const CMediaType& other) noexcept;
  CMediaType& operator=(const AM_MEDIA_TYPE& other) noexcept;
  // S_OK or E_OUTOFMEMORY. Setting a type to itself is harmless.
  HRESULT Set(const CMediaType& other) noexcept;
  HRESULT Set(const AM_MEDIA_TYPE& other) noexcept;

  // Types, format type and block count; the flags, the sample size and pUnk do not.
  bool operator==(const CMediaType& other) const noexcept;

  BOOL IsValid() const noexcept { return majortype != GUID_NULL; }

  const GUID* Type() const noexcept { return &majortype; }
  void SetType(const GUID* type) noexcept { majortype = *type; }
  const GUID* Subtype() const noexcept { return &subtype; }
  void SetSubtype(const GUID* type) noexcept { subtype = *type; }
  const GUID* FormatType() const noexcept { return &formattype; }
  void SetFormatType(const GUID* type) noexcept { formattype = *type; }

  BOOL IsFixedSize() const noexcept { return bFixedSizeSamples; }
  BOOL IsTemporalCompressed() const noexcept { return bTemporalCompression; }
  // 0 for samples of variable size.
  ULONG GetSampleSize() const noexcept { return bFixedSizeSamples ? lSampleSize : 0; }
  // 0 means variable.
  void SetSampleSize(ULONG size) noexcept;
  // The number stays in the record, out of use.
  void SetVariableSize() noexcept { bFixedSizeSamples = FALSE; }
  void SetTemporalCompression(BOOL compressed) noexcept { bTemporalCompression = compressed; }

  BYTE* Format() const noexcept { return pbFormat; }
  ULONG FormatLength() const noexcept { return cbFormat; }
  BOOL SetFormat(const BYTE* format, ULONG length) noexcept;
  void ResetFormatBuffer() noexcept;
  // A block of this length, content undefined; the present block is kept when it has the length already, or
  // when memory runs out: then it is returned if it is long enough, else NULL.
  BYTE* AllocFormatBuffer(ULONG length) noexcept;
  // The same, but what fits of the old content is copied.
  BYTE* ReallocFormatBuffer(ULONG length) noexcept;

  // Back to the state after construction, without freeing anything.
  void InitMediaType() noexcept;

  BOOL MatchesPartial(const CMediaType* partial) const noexcept;
  BOOL IsPartiallySpecified() const noexcept;
};
static_assert(sizeof(CMediaType) == sizeof(AM_MEDIA_TYPE));

// The base classes receive plain records through interfaces and treat them as CMediaType, which is sound for
// the records are standard layout and CMediaType has no data or virtual functions.
inline const CMediaType* AsMediaType(const AM_MEDIA_TYPE* type) noexcept {
  return static_cast<const CMediaType*>(type);
}

// Duplicates the block and adds a reference to pUnk; the old content of target is not freed. E_OUTOFMEMORY
// leaves target without a block.
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) noexcept;
// Frees the block and releases pUnk, not the record itself.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;
// A copy in task memory, or NULL.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) noexcept;
// Frees a record in task memory with all it owns; NULL is harmless.
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;
// Describes wave audio in fixed samples of nBlockAlign bytes; with set_format the record becomes the block.
HRESULT CreateAudioMediaType(const WAVEFORMATEX* wave, AM_MEDIA_TYPE* type, BOOL set_format) noexcept;
