// Reads, writes, seeks and flushes through the file manager, and does the same to a plain model in memory: a
// device of any type, or a buffered stream with bytes that are not written yet.
//
// Input: what is driven, the size of the content, the size of the buffers, then three bytes per operation.
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "fmgr/buffer.h"
#include "fmgr/device.h"
#include "fuzz/require.h"
#include "mediakit/files/sources.h"
#include "os/os.h"
#include "platform/win32/win32_error.h"

namespace zdr::fuzz {
namespace {

using test::Source;

constexpr uint64_t kFarthestWrite = 4096;  // beyond, a write would only make the file large

struct Operation {
  uint8_t kind;
  uint8_t choice;
  int8_t distance;

  uint32_t count() const { return 1u + choice % 64; }
  int32_t whence() const { return choice % 4; }  // 3: unknown
  // Mostly near the content, sometimes far from it.
  int64_t offset() const {
    return distance * (choice / 4 % 16 == 15 ? int64_t{1} << 33 : 1 + choice / 4 % 3);
  }
  std::string bytes() const {
    std::string text(count(), '\0');
    for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(distance + static_cast<int>(i));
    return text;
  }
};

// The content and a position, from which reads and writes go on.
struct Model {
  std::string content;
  uint64_t position = 0;

  std::string read(uint32_t count) {
    const std::string bytes = position < content.size() ? content.substr(position, count) : "";
    position += bytes.size();
    return bytes;
  }
  void write(const std::string& bytes) {
    const size_t end = position + bytes.size();
    if (content.size() < end) content.resize(end);
    content.replace(position, bytes.size(), bytes);
    position = end;
  }
  bool can_write() const { return position <= kFarthestWrite; }
  uint64_t origin(int32_t whence) const {
    return whence == FMGR_SEEK_CURRENT ? position : whence == FMGR_SEEK_END ? content.size() : 0;
  }
};

// --- Devices ---

struct DeviceType {
  uint32_t type;
  const FMGR_DeviceOps& ops;
  bool writes;
};
const DeviceType kTypes[] = {{FMGR_DEV_FILE, fmgr::kFileOps, true},
                             {FMGR_DEV_FILE_W, fmgr::kWideFileOps, true},
                             {FMGR_DEV_CALLBACK_RW, fmgr::kCallbackReadWriteOps, true},
                             {FMGR_DEV_CALLBACK, fmgr::kCallbackOps, false},
                             {FMGR_DEV_MEMORY, fmgr::kMemoryOps, false}};

class DrivenDevice {
 public:
  DrivenDevice(const DeviceType& type, const std::string& content)
      : type_(type), source_(type.type, content), model_{content} {
    SetLastError(ERROR_SUCCESS);
    device_ = type.ops.open(&source_.descriptor(), OS_OPEN_READWRITE, nullptr);
    require(device_ != nullptr, "the device opens");
  }
  ~DrivenDevice() {
    require(type_.ops.close(device_) == FMGR_OK, "the device closes");
    const bool is_file = !source_.path().empty();
    require((is_file ? test::read_file(source_.path()) : source_.content()) == model_.content,
            "the device holds what was written");
  }
  DrivenDevice(const DrivenDevice&) = delete;
  DrivenDevice& operator=(const DrivenDevice&) = delete;

  void drive(const Operation& operation) {
    switch (operation.kind % 4) {
      case 0:
        return read(operation.count());
      case 1:
        return write(operation.bytes());
      case 2:
        return seek(operation.offset(), operation.whence());
      default:
        return ask(operation.choice);
    }
  }

 private:
  void read(uint32_t count) {
    std::string bytes(count, '\0');
    const int32_t moved = type_.ops.read(device_, bytes.data(), count);
    require(moved >= 0, "a device can be read at any position");
    bytes.resize(static_cast<size_t>(moved));
    require(bytes == model_.read(count), "a read returns the bytes at the position");
  }
  void write(const std::string& bytes) {
    if (!model_.can_write()) return;
    const auto count = static_cast<uint32_t>(bytes.size());
    const int32_t moved = type_.ops.write(device_, bytes.data(), count);
    require(moved == (type_.writes ? static_cast<int32_t>(count) : FMGR_ERR_NOT_SUPPORTED),
            "a device that can be written takes all bytes");
    if (type_.writes) model_.write(bytes);
  }
  void seek(int64_t offset, int32_t whence) {
    const auto words = static_cast<uint64_t>(offset);
    const int32_t status =
        type_.ops.seek(device_, static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32), whence);
    const auto target = static_cast<int64_t>(model_.origin(whence) + words);
    require(status == (may_seek(offset, target, whence) ? FMGR_OK : refusal()),
            "a seek succeeds or is refused");
    // To a file, an unknown origin is the beginning.
    const bool moves = whence <= FMGR_SEEK_END || is_file();
    if (status == FMGR_OK && moves) model_.position = static_cast<uint64_t>(target);
  }
  bool may_seek(int64_t offset, int64_t target, int32_t whence) const {
    if (type_.type == FMGR_DEV_CALLBACK || type_.type == FMGR_DEV_CALLBACK_RW) return true;
    if (is_file()) return target >= 0;
    const auto size = static_cast<int64_t>(model_.content.size());
    const bool is_too_far = offset > size || (whence == FMGR_SEEK_END && offset > 0);
    return !is_too_far && (whence > FMGR_SEEK_END || target >= 0);
  }
  int32_t refusal() const { return is_file() ? FMGR_ERR_SEEK : FMGR_ERR_GENERIC; }
  bool is_file() const { return !source_.path().empty(); }

  void ask(uint8_t choice) {
    uint64_t number = 0;
    require(type_.ops.tell(device_, &number) == FMGR_OK, "a device has a position");
    const bool is_shown = !is_file() || model_.position < uint64_t{1} << 32;
    require(number == (is_shown ? model_.position : 0), "the position is that of the model");
    require(type_.ops.size(device_, &number) == FMGR_OK && number == model_.content.size(),
            "the size is that of the model");
    if (choice % 32 == 0) {
      require(type_.ops.flush(device_) == (is_file() ? FMGR_OK : FMGR_ERR_NOT_SUPPORTED),
              "a file can be flushed");
    }
  }

  const DeviceType& type_;
  Source source_;
  Model model_;
  FMGR_Device* device_ = nullptr;
};

// --- Buffered streams ---

class DrivenStream {
 public:
  DrivenStream(uint32_t type, const char* mode, const std::string& content, uint32_t buffer_size)
      : source_(type, content), context_(test::make_context(buffer_size, buffer_size)), model_{content} {
    SetLastError(ERROR_SUCCESS);
    stream_ = test::open_stream(source_, mode, context_);
    require(stream_ != nullptr, "the stream opens");
    if (mode[0] == 'w') model_.content.clear();
    if (mode[0] == 'a') model_.position = content.size();
    stream_->buffer->data = std::make_unique<uint8_t[]>(stream_->buffer->capacity);
  }
  ~DrivenStream() {
    require(FMGR_FClose(stream_.release()) == FMGR_OK, "the stream closes");
    require(test::read_file(source_.path()) == model_.content, "the file holds what was written");
  }
  DrivenStream(const DrivenStream&) = delete;
  DrivenStream& operator=(const DrivenStream&) = delete;

  void drive(const Operation& operation) {
    switch (operation.kind % 4) {
      case 0:
        read(operation.count());
        break;
      case 1:
        if (model_.can_write()) write(operation.bytes());
        break;
      case 2:
        seek(operation.offset(), operation.whence(), operation.kind / 4 % 2 == 0);
        break;
      default:
        flush();
    }
    require(test::tell(stream_) == model_.position, "the position is that of the model");
  }

 private:
  void read(uint32_t count) {
    std::string bytes(count, '\0');
    const int32_t moved = FMGR_FRead(stream_.get(), bytes.data(), count);
    require(moved >= 0, "a buffered read does not fail");
    bytes.resize(static_cast<size_t>(moved));
    require(bytes == model_.read(count), "a read returns the bytes at the position");
  }

  // Stores the bytes in the buffer as a writer would; the interface has no function for it.
  void write(const std::string& bytes) {
    FMGR_Buffer& buffer = *stream_->buffer;
    for (size_t done = 0; done < bytes.size();) {
      const size_t part = bytes.copy(reinterpret_cast<char*>(buffer.data.get()) + buffer.cursor,
                                     buffer.capacity - buffer.cursor, done);
      done += part;
      buffer.cursor += static_cast<uint32_t>(part);
      buffer.valid = std::max(buffer.valid, buffer.cursor);
      if (part != 0) buffer.flags |= FMGR_Buffer::kUnwritten;
      if (done < bytes.size()) test::seek64(stream_, 0, FMGR_SEEK_CURRENT);  // writes the full buffer
    }
    model_.write(bytes);
  }

  void seek(int64_t offset, int32_t whence, bool wide) {
    const int64_t distance = wide ? offset : static_cast<int32_t>(offset);
    const int32_t status = wide ? test::seek64(stream_, distance, whence)
                                : FMGR_FSeek(stream_.get(), static_cast<int32_t>(offset), whence);
    const bool is_known = whence <= FMGR_SEEK_END;
    require(status == (is_known ? FMGR_OK : FMGR_ERR_GENERIC), "a seek from a known origin succeeds");
    if (is_known) model_.position = model_.origin(whence) + static_cast<uint64_t>(distance);
  }

  void flush() {
    require(fmgr::reanchor(*stream_->buffer) == FMGR_OK, "the bytes are written");
    test::seek64(stream_, static_cast<int64_t>(model_.position), FMGR_SEEK_SET);
    uint64_t size = 0;
    require(FMGR_FSize64(stream_.get(), &size) == FMGR_OK && size == model_.content.size(),
            "the size is that of the model");
  }

  Source source_;
  test::Context context_;
  test::Stream stream_;
  Model model_;
};

// At most so many, because every operation may be a system call.
template <class Driven>
void drive_all(Driven&& driven, const uint8_t* script, size_t size) {
  constexpr size_t kMostOperations = 64;
  for (size_t i = 0; i < std::min(size / 3, kMostOperations); ++i) {
    driven.drive({script[3 * i], script[3 * i + 1], static_cast<int8_t>(script[3 * i + 2])});
  }
}

}  // namespace
}  // namespace zdr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zdr::fuzz;
  if (size < 3) return 0;
  const std::string content = zdr::test::make_content(data[1]);
  const size_t choice = data[0] % (2 * std::size(kTypes));
  if (choice < std::size(kTypes)) {
    drive_all(DrivenDevice(kTypes[choice], content), data + 3, size - 3);
  } else {
    constexpr const char* kModes[] = {"r+b", "rb+", "w+b", "a+", "a+b"};
    const uint32_t type = data[2] % 2 == 0 ? FMGR_DEV_FILE : FMGR_DEV_FILE_W;
    drive_all(DrivenStream(type, kModes[choice - std::size(kTypes)], content, 1 + data[2] / 2), data + 3,
              size - 3);
  }
  return 0;
}
