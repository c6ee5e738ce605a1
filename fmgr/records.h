// The records of the manager.
//
//   FMGR_Context --files--> FMGR_File --streams--> FMGR_Stream --> FMGR_Buffer (buffered mode)
//                               |----- device --> FMGR_Device
//
// A file is an opened device with the streams that share it. The buffers of these streams are siblings,
// linked in a list of their own.
//
// Locks: the manager mutex (of the context) guards the list of files and their open counts. The file mutex
// guards the device and the content of streams and buffers. The lists of streams and buffers change under
// both, locked in this order, and may be read under either.
#pragma once

#include <memory>

#include "fmgr/device.h"
#include "fmgr/open_mode.h"
#include "os/mutex_lock.h"

struct FMGR_Buffer {
  static constexpr uint32_t kReadMode = 1;
  static constexpr uint32_t kWriteMode = 2;
  static constexpr uint32_t kEndOfData = 4;
  static constexpr uint32_t kUnwritten = 8;

  uint64_t position = 0;  // of the first byte in the file
  uint32_t cursor = 0;    // index of the next byte to read
  uint32_t capacity = 0;
  uint32_t valid = 0;                 // bytes in `data`; 0 if empty
  std::unique_ptr<uint8_t[]> data{};  // allocated at the first read
  FMGR_Stream* owner = nullptr;
  FMGR_Buffer* previous = nullptr;
  FMGR_Buffer* next = nullptr;
  uint32_t flags = 0;
  uint32_t reserved = 0;
};

struct FMGR_File {
  FMGR_Context* context = nullptr;
  const FMGR_Descriptor* descriptor = nullptr;
  zdr::fmgr::AccessClass access = zdr::fmgr::AccessClass::kRead;
  uint32_t open_count = 0;
  FMGR_Buffer* first_buffer = nullptr;
  FMGR_File* next = nullptr;
  FMGR_File* previous = nullptr;
  FMGR_Stream* first_stream = nullptr;
  zdr::os::OwnedMutex mutex{};
  FMGR_Device* device = nullptr;
};

// Numbers of calls, for statistics.
struct FMGR_StreamCounters {
  uint32_t stream_reads = 0;
  uint32_t device_reads = 0;
  uint32_t device_writes = 0;
  uint32_t reserved = 0;
};

struct FMGR_Stream {
  FMGR_File* file = nullptr;
  std::unique_ptr<FMGR_Buffer> buffer{};  // null without buffering
  uint64_t position = 0;
  FMGR_StreamCounters counters{};
  FMGR_Stream* next = nullptr;
  FMGR_Stream* previous = nullptr;
};

struct FMGR_Context {
  FMGR_File* first_file = nullptr;
  uint32_t read_buffer_size = 0;
  uint32_t write_buffer_size = 0;
  zdr::os::OwnedMutex mutex{};

  bool buffered() const { return read_buffer_size != 0 && write_buffer_size != 0; }
};

namespace zdr::fmgr {

// The first node of each list keeps its place; new nodes follow it.
template <class Node>
void insert_after_first(Node*& first, Node& node) {
  if (first == nullptr) {
    first = &node;
    return;
  }
  node.previous = first;
  node.next = first->next;
  if (node.next != nullptr) node.next->previous = &node;
  first->next = &node;
}

template <class Node>
void unlink(Node*& first, Node& node) {
  (node.previous != nullptr ? node.previous->next : first) = node.next;
  if (node.next != nullptr) node.next->previous = node.previous;
  node.previous = nullptr;
  node.next = nullptr;
}

}  // namespace zdr::fmgr
