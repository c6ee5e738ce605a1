// The public functions: they check arguments and call the frame reader.
#include "esparse/amr/amrf.h"

#include <new>

#include "esparse/amr/frame_reader.h"

namespace amrf = zdr::amrf;

struct AMRF_File {
  amrf::FrameReader frames;
};

namespace {

constexpr uint32_t kMaxFrameSize = 100;

std::unique_ptr<AMRF_File> open_reader(const char16_t* path) {
  amrf::FileHandle file(OS_fopen(path, "rb"));
  if (!file) return nullptr;
  std::unique_ptr<AMRF_File> reader(new AMRF_File{amrf::FrameReader(std::move(file))});
  return reader->frames.skip_header() ? std::move(reader) : nullptr;
}

}  // namespace

int32_t AMRF_Open(AMRF_File** reader, const char16_t* path) noexcept {
  if (reader == nullptr) return AMRF_ERR_FAILED;
  *reader = nullptr;
  if (path == nullptr) return AMRF_ERR_FAILED;
  try {
    *reader = open_reader(path).release();
  } catch (const std::bad_alloc&) {
  }
  return *reader != nullptr ? AMRF_OK : AMRF_ERR_FAILED;
}

int32_t AMRF_Close(AMRF_File* reader) noexcept {
  const std::unique_ptr<AMRF_File> owned(reader);
  return reader != nullptr ? AMRF_OK : AMRF_ERR_FAILED;
}

int32_t AMRF_Scan(AMRF_File* reader, AMRF_Info* info) noexcept {
  if (reader == nullptr || info == nullptr) return AMRF_ERR_FAILED;
  return reader->frames.scan(*info) ? AMRF_OK : AMRF_ERR_FAILED;
}

int32_t AMRF_ReadFrame(AMRF_File* reader, AMRF_FrameRequest* request) noexcept {
  if (reader == nullptr || request == nullptr || request->buffer == nullptr) return AMRF_ERR_FAILED;
  return reader->frames.read(*request);
}

int32_t AMRF_TimeToFrame(const AMRF_File* reader, uint32_t time_ms, uint32_t* number) noexcept {
  if (reader == nullptr || number == nullptr) return AMRF_ERR_FAILED;
  const bool ends_a_frame = time_ms != 0 && time_ms % amrf::kFrameMs == 0;
  *number = time_ms / amrf::kFrameMs + (ends_a_frame ? 0 : 1);
  return AMRF_OK;
}

uint32_t AMRF_FrameSizeNB(uint8_t toc) noexcept {
  return amrf::kNarrowBandFrameSizes[amrf::frame_type(toc)];
}

uint32_t AMRF_FrameSizeWB(uint8_t toc) noexcept {
  return amrf::kWideBandFrameSizes[amrf::frame_type(toc)];
}

uint32_t AMRF_MaxFrameSize(void) noexcept {
  return kMaxFrameSize;
}
