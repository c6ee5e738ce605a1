// The public functions: they check arguments and call the reader. Nothing they call throws.
#include "esparse/aac/aacf.h"

#include <memory>
#include <new>

#include "esparse/aac/aac_file.h"
#include "esparse/aac/stream_times.h"

using namespace zdr::aacf;

namespace {

bool is_complete(const AACF_OpenParams* params) {
  if (params == nullptr || params->io == nullptr) return false;
  const AACF_FileIo& io = *params->io;
  return io.open != nullptr && io.seek != nullptr && io.read != nullptr && io.write != nullptr &&
         io.close != nullptr && io.tell != nullptr;
}

}  // namespace

int32_t AACF_Open(AACF_File** reader, const char16_t* path, const AACF_OpenParams* params) noexcept {
  if (reader == nullptr || path == nullptr || !is_complete(params)) return AACF_ERR_FAILED;
  std::unique_ptr<AACF_File> file(new (std::nothrow) AACF_File);
  if (!file) return AACF_ERR_NO_MEMORY;
  const int32_t status = file->open(path, *params);
  if (status == AACF_OK) *reader = file.release();
  return status;
}

int32_t AACF_Close(AACF_File* reader) noexcept {
  if (reader == nullptr) return AACF_ERR_FAILED;
  delete reader;
  return AACF_OK;
}

int32_t AACF_GetConfig(const AACF_File* reader, Zd_AAC_Dec_Config* config) noexcept {
  if (reader == nullptr || config == nullptr) return AACF_ERR_FAILED;
  *config = reader->config;
  return AACF_OK;
}

int32_t AACF_GetStreamInfo(const AACF_File* reader, AACF_StreamInfo* info) noexcept {
  if (reader == nullptr || info == nullptr) return AACF_ERR_FAILED;
  *info = reader->info;
  return AACF_OK;
}

int32_t AACF_GetDuration(const AACF_File* reader, AACF_Duration* duration) noexcept {
  if (reader == nullptr || duration == nullptr) return AACF_ERR_FAILED;
  duration->frame_count = reader->info.total_frames;
  duration->duration_ms = stream_duration_ms(reader->info.total_frames, reader->config);
  return AACF_OK;
}

int32_t AACF_RefreshConfig(AACF_File* reader) noexcept {
  return reader == nullptr ? AACF_ERR_FAILED : reader->decoder.configure(reader->config);
}

int32_t AACF_TimeToFrame(const AACF_File* reader, uint32_t time_ms, uint32_t* number) noexcept {
  // Kept: time 0 has no frame.
  if (reader == nullptr || number == nullptr || time_ms == 0) return AACF_ERR_FAILED;
  *number = frame_at_ms(time_ms, reader->config);
  return AACF_OK;
}

int32_t AACF_FrameToTime(const AACF_File* reader, uint32_t number, uint64_t* time_ms) noexcept {
  if (reader == nullptr || time_ms == nullptr || number == 0) return AACF_ERR_FAILED;
  *time_ms = start_of_frame_ms(number, reader->config);
  return AACF_OK;
}

int32_t AACF_ReadFrame(AACF_File* reader, AACF_FrameRequest* request) noexcept {
  if (reader == nullptr || request == nullptr || request->number == 0) return AACF_ERR_FAILED;
  return reader->read_frame(*request);
}

int32_t AACF_GetTagText(const AACF_File* reader, ID3P_Text* text) noexcept {
  if (reader == nullptr || text == nullptr) return AACF_ERR_FAILED;
  *text = {};
  // Kept: the texts of an ID3v1 tag are not offered.
  const ID3P_Tag* const tag = reader->tags.v23 != nullptr ? reader->tags.v23 : reader->tags.v22;
  return tag == nullptr ? AACF_OK : ID3P_CopyText(text, tag);
}
