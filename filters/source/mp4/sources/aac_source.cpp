// See aac_file.h. The decoder is one frame behind: the first frame read after an opening or a seek gives
// nothing, and each later one the PCM of the frame before it.
#include "filters/source/mp4/sources/aac_source.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "os/os.h"

namespace zdr::mp4source {
namespace {

// Frames are walked over at open until that much has been passed.
constexpr uint32_t kScanLimit = 0x80000;
constexpr WORD kBitsPerSample = 16;

constexpr AACF_FileIo kFileIo = {OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose, OS_ftell};

// Kept: the reader has no frame for time 0, so a seek there asks for 1 ms. Targets before the start are taken
// for 0, those beyond 32 bits of milliseconds for the largest.
uint32_t seek_ms(REFERENCE_TIME target) {
  return static_cast<uint32_t>(
      std::clamp<int64_t>(target / kUnitsPerMs, 1, std::numeric_limits<uint32_t>::max()));
}

WAVEFORMATEX pcm_format(const Zd_AAC_Dec_Config& config) {
  WAVEFORMATEX format{};
  format.wFormatTag = WAVE_FORMAT_PCM;
  format.nChannels = static_cast<WORD>(config.channels);
  format.nSamplesPerSec = static_cast<DWORD>(config.outputRate);
  format.nBlockAlign = static_cast<WORD>(format.nChannels * (kBitsPerSample / 8));
  format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
  format.wBitsPerSample = kBitsPerSample;
  return format;
}

}  // namespace

AacFilePointer open_aac_reader(LPCOLESTR file_name) {
  const AACF_OpenParams params{&kFileIo, kScanLimit};
  AACF_File* reader = nullptr;
  AACF_Open(&reader, file_name, &params);
  return AacFilePointer(reader);
}

AacFile::AacFile(AacFilePointer reader) : reader_(std::move(reader)) {
  AACF_GetTagText(reader_.get(), &tag_text_);
  AACF_GetDuration(reader_.get(), &duration_);
}

AacFile::~AacFile() {
  if (tag_text_.release != nullptr) tag_text_.release(&tag_text_);
}

HRESULT AacFile::build_media_type(CMediaType& type) {
  Zd_AAC_Dec_Config config{};
  if (AACF_GetConfig(reader_.get(), &config) != AACF_OK) return kTypeNotBuilt;
  frame_bytes_ = config.outputBytes;
  const WAVEFORMATEX format = pcm_format(config);
  BYTE* const block = new_format_block(type, sizeof format);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, &format, sizeof format);
  set_audio_type(MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, type);
  return S_OK;
}

uint64_t AacFile::sample_bytes() const {
  return uint64_t{static_cast<uint32_t>(std::max(frame_bytes_.load(), 0))} * kFramesPerGroup;
}

// Kept: also a seek to where the stream is goes there anew.
FileStream::Found AacFile::find(REFERENCE_TIME target) {
  uint32_t frame = 0;
  const bool found = AACF_RefreshConfig(reader_.get()) == AACF_OK &&
                     AACF_TimeToFrame(reader_.get(), seek_ms(target), &frame) == AACF_OK;
  return found ? Found{SeekResult::kMoved, frame} : Found{SeekResult::kFailed, 0};
}

bool AacFile::read_frame(uint32_t number, uint8_t* buffer, uint32_t room, uint32_t* size) {
  AACF_FrameRequest request{number, room, reinterpret_cast<int16_t*>(buffer)};
  if (AACF_ReadFrame(reader_.get(), &request) != AACF_OK) return false;
  *size = request.size;
  return true;
}

// Kept: the number has moved on by then, so a group is stamped with the end of its first frame.
int64_t AacFile::time_before(uint32_t number) {
  uint64_t time_ms = 0;
  AACF_FrameToTime(reader_.get(), number, &time_ms);
  return static_cast<int64_t>(time_ms);
}

}  // namespace zdr::mp4source
