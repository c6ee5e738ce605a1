// Opens, reads and seeks an AAC file, using the other parts of the reader.
#include "esparse/aac/aac_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "esparse/aac/scan.h"

namespace {

using namespace zdr::aacf;
using zdr::id3p::CallbackFile;

// A stream after a tag begins with this byte.
constexpr uint8_t kSyncByte = 0xFF;
constexpr size_t kSearchBlock = 32768;

uint32_t v2_tag_bytes(const ID3P_TagSet& tags) {
  if (tags.v22 != nullptr) return tags.v22->size;
  if (tags.v23 != nullptr) return tags.v23->size;
  return tags.v24 != nullptr ? tags.v24->size : 0;
}

// Returns the offset of the first sync byte at or after the file position. Stops at the largest offset that
// the callbacks can seek to, because a sparse file may hold terabytes.
std::optional<uint32_t> find_sync_byte(const CallbackFile& file) {
  const int32_t start = file.position();
  if (start < 0) return std::nullopt;
  std::array<uint8_t, kSearchBlock> block;
  uint32_t block_start = static_cast<uint32_t>(start);
  while (block_start <= INT32_MAX) {
    const uint32_t count = file.read(block);
    if (count == 0) break;
    const auto end = block.begin() + count;
    const auto found = std::find(block.begin(), end, kSyncByte);
    if (found != end) return block_start + static_cast<uint32_t>(found - block.begin());
    block_start += count;
  }
  return std::nullopt;
}

uint32_t audio_bytes_of(const CallbackFile& file, const ID3P_TagSet& tags, const StreamDescription& stream) {
  uint64_t others = ID3P_TotalTagBytes(&tags);
  if (stream.kind != AACF_KIND_ADTS) others += stream.header_bytes;
  const uint64_t size = file.size();
  // Kept: the tags of a short file may overlap; the audio never has fewer than 0 bytes.
  return static_cast<uint32_t>(size > others ? size - others : 0);
}

}  // namespace

AACF_File::~AACF_File() {
  if (is_open_) file_.close();
  ID3P_FreeTags(&tags);
}

int32_t AACF_File::open(const char16_t* path, const AACF_OpenParams& params) {
  if (!stream_.allocate()) return AACF_ERR_NO_MEMORY;
  void* const handle = params.io->open(path, "rb");
  if (handle == nullptr) return AACF_ERR_OPEN;
  is_open_ = true;
  file_ = CallbackFile(handle, *params.io);

  const int32_t tag_status = ID3P_Parse(handle, params.io, &tags);
  if (tag_status != ID3P_OK) return tag_status;
  FileLayout layout;
  if (!locate_stream(layout) || !stream_.begin(file_, layout)) return AACF_ERR_FAILED;
  config = stream_.description().config;
  if (!decoder.open(config)) return AACF_ERR_FAILED;
  info = scan_stream(stream_, params.scan_limit, audio_bytes_of(file_, tags, stream_.description()));
  return AACF_OK;
}

// Kept: a byte 0xFF must follow offset 10 even without an ID3v2 tag, where the stream begins at 0. After a
// tag the stream begins with that byte, so an ADIF or raw stream there loses its header.
bool AACF_File::locate_stream(FileLayout& layout) const {
  const auto sync_byte = find_sync_byte(file_);
  if (!sync_byte) return false;
  layout.tag_end = v2_tag_bytes(tags);
  layout.stream_start = layout.tag_end == 0 ? 0 : *sync_byte;
  layout.trailing_bytes = tags.v1 != nullptr ? tags.v1->size : 0;
  return true;
}

int32_t AACF_File::read_frame(AACF_FrameRequest& request) {
  const bool is_in_sequence = request.number == stream_.current_frame();
  const int32_t status = seek_to_frame(request);
  if (status != AACF_OK) return status;
  const Bytes data = stream_.decodable();
  if (data.empty()) return AACF_ERR_END_OF_STREAM;
  if (decode_frame(data, request)) return AACF_OK;
  // Kept: after a jump out of an ADTS frame with several blocks, the decoder is restarted: otherwise it would
  // read the header as the next block.
  const bool may_be_inside_a_frame = !is_in_sequence && stream_.has_frames_of_several_blocks();
  if (!may_be_inside_a_frame || decoder.configure(config) != ZD_AAC_DEC_OK) return AACF_ERR_FAILED;
  return decode_frame(data, request) ? AACF_OK : AACF_ERR_FAILED;
}

int32_t AACF_File::seek_to_frame(AACF_FrameRequest& request) {
  if (info.bytes_scanned < info.audio_bytes && stream_.kind() == AACF_KIND_ADTS) {
    return stream_.estimate_seek(request.number, info);
  }
  if (stream_.skip_to_frame(request.number)) return AACF_OK;
  request.number = stream_.current_frame();
  return AACF_ERR_FAILED;
}

bool AACF_File::decode_frame(Bytes data, AACF_FrameRequest& request) {
  // Kept: a header between raw blocks is refused without calling the decoder, which would expect headers from
  // then on.
  if (stream_.kind() != AACF_KIND_ADTS && begins_with_syncword(data)) return false;
  if (request.pcm == nullptr) return false;
  uint32_t consumed = 0;
  uint32_t pcm_bytes = std::min<uint32_t>(request.size, sizeof pcm_);
  if (!decoder.decode(data, consumed, pcm_.data(), pcm_bytes)) return false;
  std::memcpy(request.pcm, pcm_.data(), pcm_bytes);
  request.size = pcm_bytes;
  stream_.step_over(consumed);
  return true;
}
