// Media types as values: CMediaType owns the format block and the object of its AM_MEDIA_TYPE. The functions
// below do the same for plain records.
#pragma once

#include "media_records.h"
#include "mmreg.h"

// Adds only functions to the record, so that a pointer to one is a pointer to the other.
class CMediaType : public AM_MEDIA_TYPE {
 public:
  // A zeroed record, except that samples have a fixed size of 1 byte.
  CMediaType() noexcept;
  // Deep copies. When memory runs out, the copy has no format block.
  explicit CMediaType(const AM_MEDIA_TYPE& other) noexcept;
  CMediaType(const CMediaType& other) noexcept;
  ~CMediaType();

  CMediaType& operator=(const CMediaType& other) noexcept;
  // S_OK or E_OUTOFMEMORY. Setting a type to itself is harmless.
  HRESULT Set(const AM_MEDIA_TYPE& other) noexcept;

  void SetType(const GUID* type) noexcept { majortype = *type; }
  void SetSubtype(const GUID* type) noexcept { subtype = *type; }
  void SetFormatType(const GUID* type) noexcept { formattype = *type; }
  // Kept: the sample size stays in the record.
  void SetVariableSize() noexcept { bFixedSizeSamples = FALSE; }
  void SetTemporalCompression(BOOL compressed) noexcept { bTemporalCompression = compressed; }

  void ResetFormatBuffer() noexcept;
  // Replaces the block by one of this length, content undefined. Null, with the old block unchanged, for a
  // length of 0 or when memory runs out.
  BYTE* AllocFormatBuffer(ULONG length) noexcept;

  // Sets the state after default construction, without freeing anything.
  void InitMediaType() noexcept;

  // True if the type agrees with every field that the partial type specifies. The flags, the sample size and
  // pUnk are not compared.
  BOOL MatchesPartial(const CMediaType* partial) const noexcept;
  BOOL IsPartiallySpecified() const noexcept;
};
static_assert(sizeof(CMediaType) == sizeof(AM_MEDIA_TYPE));

// The base classes receive plain records through interfaces and treat them as CMediaType. That is sound
// because the record has standard layout and CMediaType adds no data or virtual functions.
inline const CMediaType* AsMediaType(const AM_MEDIA_TYPE* type) noexcept {
  return static_cast<const CMediaType*>(type);
}

// Duplicates the block and adds a reference to pUnk; the old content of target is not freed. E_OUTOFMEMORY
// leaves target without a block and without pUnk.
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) noexcept;
// Frees the block and releases pUnk, not the record itself.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;
// A copy in task memory, or null if memory runs out.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) noexcept;
// Frees a record in task memory with all it owns; null is harmless.
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;
