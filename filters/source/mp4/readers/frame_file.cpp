// Opens speech and AAC files with their readers.
#include "filters/source/mp4/readers/frame_file.h"

#include <new>

#include "os/os.h"

namespace zdr::mp4source {
namespace {

// The AAC reader walks over the frames in this many bytes when it opens a file.
constexpr uint32_t kScanLimit = 0x80000;

constexpr AACF_FileIo kFileIo = {OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose, OS_ftell};

}  // namespace

AmrFilePointer open_amr_file(const WCHAR* file_name) {
  AMRF_File* reader = nullptr;
  const bool opened = AMRF_Open(&reader, file_name) == AMRF_OK;
  return AmrFilePointer(opened ? reader : nullptr);
}

AacFilePointer open_aac_file(const WCHAR* file_name) {
  const AACF_OpenParams params{&kFileIo, kScanLimit};
  AACF_File* reader = nullptr;
  if (AACF_Open(&reader, file_name, &params) == AACF_ERR_NO_MEMORY) throw std::bad_alloc();
  return AacFilePointer(reader);
}

}  // namespace zdr::mp4source
