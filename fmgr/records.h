// The manager's records: a context holds files, a file is one opened device with the streams that share it,
// and in buffered mode every stream has a buffer, which is the sibling of the buffers of the other streams.
//
// Locks: the manager mutex guards the list of files and their open counts; the file mutex guards the device
// and everything in the streams and buffers of a file. Their lists change under both, taken in this order,
// and are read under either.
#ifndef ZDR_FMGR_RECORDS_H
#define ZDR_FMGR_RECORDS_H

#include <memory>

#include "fmgr/device.h"
#include "fmgr/open_mode.h"
#include "os/mutex_lock.h"

struct FMGR_Buffer {
  static constexpr uint32_t kReadMode = 1;
  static constexpr uint32_t kWriteMode = 2;
  static constexpr uint32_t kEndOfData = 4;
  static constexpr uint32_t kUnwritten = 8;

  uint64_t position = 0;  // of its first byte in the file
  uint32_t cursor = 0;    // index of the next byte to hand out
  uint32_t capacity = 0;
  uint32_t valid = 0;                 // bytes held; 0 means empty
  std::unique_ptr<uint8_t[]> data{};  // taken at the first read
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

// Calls counted for statistics; tests and benchmarks read them.
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

// The three lists grow behind their first node, which stays where it is.
template <class Node>
void insert_behind_first(Node*& first, Node& node) {
  if (!first) {
    first = &node;
    return;
  }
  node.previous = first;
  node.next = first->next;
  if (node.next) node.next->previous = &node;
  first->next = &node;
}

template <class Node>
void unlink(Node*& first, Node& node) {
  (node.previous ? node.previous->next : first) = node.next;
  if (node.next) node.next->previous = node.previous;
  node.previous = nullptr;
  node.next = nullptr;
}

}  // namespace zdr::fmgr

#endif
