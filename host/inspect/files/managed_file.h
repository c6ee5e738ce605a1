// A file as the file manager knows it: opened without a buffer, as by the filter.
#pragma once

#include <memory>
#include <new>
#include <string>

#include "fmgr/fmgr.h"
#include "host/text/wide_text.h"

namespace zdr::host {

// Must stay where it is: the descriptor points into it.
class ManagedFile {
 public:
  // Does not open the file. Throws std::bad_alloc without memory for a file manager.
  explicit ManagedFile(const std::string& file) : path_(wide_file_name(file)) {
    const FMGR_Config unbuffered{0, 0};
    FMGR_Context* manager = nullptr;
    if (FMGR_Init(&manager, &unbuffered) != FMGR_OK) throw std::bad_alloc();
    context_.reset(manager);
    descriptor_.type = FMGR_DEV_FILE_W;
    descriptor_.source.wide_path = path_.c_str();
  }
  ManagedFile(const ManagedFile&) = delete;
  ManagedFile& operator=(const ManagedFile&) = delete;

  const FMGR_Descriptor* descriptor() const { return &descriptor_; }
  FMGR_Context* context() const { return context_.get(); }

 private:
  struct DeinitManager {
    void operator()(FMGR_Context* context) const { FMGR_Deinit(context); }
  };

  std::u16string path_;
  std::unique_ptr<FMGR_Context, DeinitManager> context_;
  FMGR_Descriptor descriptor_{};
};

}  // namespace zdr::host
