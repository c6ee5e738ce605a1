// Chooses the class of a clip, and defines the class for files of an unknown extension.
#include "filters/source/mp4/clips/clip.h"

#include <cstring>

namespace zdr::mp4source {
namespace {

// Kept: such a file opens; only the null reader in its handle shows that it is useless.
class UnknownClip final : public Clip {
 public:
  HRESULT report(ClipInfo&, std::atomic<double>&) override { return S_OK; }
  HRESULT close() override { return E_FAIL; }
};

}  // namespace

bool copy_for_client(std::span<const uint8_t> bytes, ClientBytes& copy) {
  copy = {};
  if (bytes.empty()) return true;
  copy.bytes.reset(static_cast<BYTE*>(std::malloc(bytes.size())));
  if (!copy.bytes) return false;
  std::memcpy(copy.bytes.get(), bytes.data(), bytes.size());
  copy.size = static_cast<DWORD>(bytes.size());
  return true;
}

OpenedClip open_clip(SourceKind kind, const WCHAR* file_name, FileManagerPointer manager) {
  switch (kind) {
    case SOURCE_KIND_MP4:
      return open_iso_clip(file_name, std::move(manager));
    case SOURCE_KIND_AMR:
      return open_amr_clip(file_name);
    case SOURCE_KIND_AAC:
      return open_aac_clip(file_name);
    case SOURCE_KIND_NONE:
      break;
  }
  return {S_OK, std::make_unique<UnknownClip>(), {}};
}

}  // namespace zdr::mp4source
