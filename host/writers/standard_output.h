// Standard output as the output of one stream or picture (`-o -`).
#pragma once

#include <ostream>

#include "host/messages.h"
#include "host/terminal.h"
#include "host/writers/output.h"

namespace zdr::host {

class StandardOutput final : public Output {
 public:
  explicit StandardOutput(std::ostream& out) : out_(out) {}

  bool open() override { return true; }
  bool write(Bytes bytes) override {
    out_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    size_ += bytes.size();
    return out_.good() || fail("standard output cannot be written");
  }
  bool can_rewrite() const override { return false; }
  bool rewrite(uint64_t /*offset*/, Bytes /*bytes*/) override { return fail("cannot be rewritten"); }
  bool flush() override { return out_.flush().good() || fail("standard output cannot be written"); }
  bool commit() override { return flush(); }
  void abandon() override { out_.flush(); }
  uint64_t size() const override { return size_; }

 private:
  std::ostream& out_;
  uint64_t size_ = 0;
};

// Media must not reach a terminal: true, with an error, if standard output is one.
inline bool refuse_terminal(Messages& messages) {
  if (!stdout_is_terminal()) return false;
  messages.error({MessageCode::kOutputRefused, "", {}, "standard output is a terminal; redirect it", ""});
  return true;
}

}  // namespace zdr::host
