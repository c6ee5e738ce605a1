// A file of the OS layer as a source of bytes.
#include "esparse/amr/byte_source.h"

#include "os/os.h"

namespace zdr::amrf {
namespace {

struct CloseFile {
  void operator()(void* handle) const { OS_fclose(handle); }
};
using FilePointer = std::unique_ptr<void, CloseFile>;

class FileSource final : public ByteSource {
 public:
  explicit FileSource(FilePointer file) : file_(std::move(file)) {}
  uint32_t read(void* buffer, uint32_t count) override { return OS_fread(buffer, 1, count, file_.get()); }
  bool seek(int32_t offset) override { return OS_fseek(file_.get(), offset, OS_SEEK_BEGIN) == 0; }

 private:
  FilePointer file_;
};

}  // namespace

std::unique_ptr<ByteSource> open_file(const char16_t* path) {
  FilePointer file(OS_fopen(path, "rb"));
  if (!file) return nullptr;
  return std::make_unique<FileSource>(std::move(file));
}

}  // namespace zdr::amrf
