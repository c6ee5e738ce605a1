// Buffered access. A read copies from the stream's own buffer while that holds data, then from a sibling that
// holds the bytes, and reads from the device only when neither does.
#include "fmgr/buffer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "fmgr/stream.h"

namespace zdr::fmgr {
namespace {

bool covers(const FMGR_Buffer& buffer, uint64_t position) {
  return buffer.position <= position && position - buffer.position < buffer.valid;
}

uint64_t end_of(const FMGR_Buffer& buffer) {
  return buffer.position + buffer.valid;
}

int32_t flush(FMGR_Buffer& buffer) {
  constexpr uint32_t kToWrite = FMGR_Buffer::kWriteMode | FMGR_Buffer::kUnwritten;
  if ((buffer.flags & kToWrite) != kToWrite) return FMGR_OK;
  if (buffer.valid != 0) {
    buffer.owner->position = buffer.position;
    const int32_t written = write_device(*buffer.owner, buffer.data.get(), buffer.valid);
    if (written < 0) return written;
    if (static_cast<uint32_t>(written) != buffer.valid) return FMGR_ERR_GENERIC;
  }
  buffer.flags &= ~FMGR_Buffer::kUnwritten;
  return FMGR_OK;
}

void move_to(FMGR_Buffer& buffer, uint64_t target) {
  if (covers(buffer, target)) {
    buffer.cursor = static_cast<uint32_t>(target - buffer.position);
    return;
  }
  // Kept: if unwritten bytes cannot be written, the buffer stays where it is, and the seek still succeeds.
  if (reanchor(buffer) != FMGR_OK) return;
  buffer.owner->position = target;
  reanchor(buffer);
}

bool allocate_data(FMGR_Buffer& buffer) {
  if (buffer.data) return true;
  buffer.data.reset(new (std::nothrow) uint8_t[buffer.capacity]);
  return buffer.data && reanchor(buffer) == FMGR_OK;
}

const FMGR_Buffer* sibling_with(const FMGR_File& file, uint64_t position) {
  for (const FMGR_Buffer* sibling = file.first_buffer; sibling != nullptr; sibling = sibling->next) {
    if (covers(*sibling, position)) return sibling;
  }
  return nullptr;
}

// Reads a block from the device. False at the end of the data and on failure.
bool fill(FMGR_Buffer& buffer) {
  if (reanchor(buffer) != FMGR_OK) return false;
  const int32_t moved = read_device(*buffer.owner, buffer.data.get(), buffer.capacity);
  if (moved > 0) {
    buffer.valid = static_cast<uint32_t>(moved);
    return true;
  }
  // Kept: a failing device looks like the end of the data.
  buffer.flags |= FMGR_Buffer::kEndOfData;
  return false;
}

struct Progress {
  uint32_t moved;
  bool ended;  // no further step can deliver more
};

Progress read_own(FMGR_Buffer& buffer, uint8_t* out, uint32_t count) {
  const uint32_t available = buffer.valid - buffer.cursor;
  const uint32_t moved = std::min(count, available);
  std::memcpy(out, buffer.data.get() + buffer.cursor, moved);
  buffer.cursor += moved;
  if (count <= available) return {moved, false};
  if ((buffer.flags & FMGR_Buffer::kEndOfData) != 0) return {moved, true};
  const uint64_t target = buffer.position + buffer.cursor;
  if (moved == 0 && reanchor(buffer) != FMGR_OK) return {0, true};
  move_to(buffer, target);
  return {moved, false};
}

Progress read_sibling(const FMGR_Buffer& sibling, FMGR_Buffer& buffer, uint8_t* out, uint32_t count) {
  const uint64_t position = buffer_position(buffer);
  const auto skipped = static_cast<uint32_t>(position - sibling.position);
  const uint32_t moved = std::min(count, sibling.valid - skipped);
  std::memcpy(out, sibling.data.get() + skipped, moved);
  move_to(buffer, position + moved);
  if ((sibling.flags & FMGR_Buffer::kEndOfData) == 0) return {moved, false};
  buffer.flags |= FMGR_Buffer::kEndOfData;
  return {moved, true};
}

// One step of a read, from the nearest source that has the bytes. A step that fills the buffer moves no
// bytes; the next step moves them.
Progress read_step(FMGR_Buffer& buffer, uint8_t* out, uint32_t count) {
  if (buffer.valid != 0) return read_own(buffer, out, count);
  const FMGR_Buffer* sibling = sibling_with(*buffer.owner->file, buffer_position(buffer));
  if (sibling != nullptr) return read_sibling(*sibling, buffer, out, count);
  return {0, !fill(buffer)};
}

}  // namespace

int32_t reanchor(FMGR_Buffer& buffer) {
  const int32_t status = flush(buffer);
  if (status != FMGR_OK) return status;
  buffer.position = buffer.owner->position;
  buffer.valid = 0;
  buffer.cursor = 0;
  buffer.flags &= ~FMGR_Buffer::kEndOfData;
  return FMGR_OK;
}

uint64_t buffer_position(const FMGR_Buffer& buffer) {
  return buffer.valid != 0 ? buffer.position + buffer.cursor : buffer.position;
}

uint32_t read_buffer(FMGR_Buffer& buffer, uint8_t* out, uint32_t count) {
  if (!allocate_data(buffer)) return 0;
  uint32_t total = 0;
  while (total < count) {
    const Progress step = read_step(buffer, out + total, count - total);
    total += step.moved;
    if (step.ended) break;
  }
  return total;
}

int32_t seek_buffer(FMGR_Buffer& buffer, int64_t offset, int32_t whence) {
  const auto distance = static_cast<uint64_t>(offset);
  switch (whence) {
    case FMGR_SEEK_SET:
      move_to(buffer, distance);
      return FMGR_OK;
    case FMGR_SEEK_CURRENT:
      move_to(buffer, buffer_position(buffer) + distance);
      return FMGR_OK;
    case FMGR_SEEK_END: {
      uint64_t end = device_size_or_zero(*buffer.owner->file);
      // Kept: bytes that are not on the device yet count only in this buffer and in the siblings after it.
      for (const FMGR_Buffer* held = &buffer; held != nullptr; held = held->next) {
        if (held->valid != 0) end = std::max(end, end_of(*held));
      }
      move_to(buffer, end + distance);
      return FMGR_OK;
    }
    default:
      return FMGR_ERR_GENERIC;
  }
}

}  // namespace zdr::fmgr
