// Where a stream writer puts its bytes: a file, or standard output.
#pragma once

#include <cstdint>
#include <string>

#include "host/text/bytes.h"

namespace zdr::host {

// The functions that return false have set error().
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  virtual bool open() = 0;
  virtual bool write(Bytes bytes) = 0;
  // False for a pipe: what was written remains as it is, so sizes in headers are not filled in.
  virtual bool can_rewrite() const = 0;
  // Overwrites bytes written before, such as header fields that are known only at the end. Also after a
  // failed write, within size().
  virtual bool rewrite(uint64_t offset, Bytes bytes) = 0;
  // Writes what is buffered. After a failure size() is the number of bytes that the output has.
  virtual bool flush() = 0;
  // Completes the output.
  virtual bool commit() = 0;
  // Ends an output that is not complete.
  virtual void abandon() = 0;
  virtual uint64_t size() const = 0;

  // Why the last failed call failed.
  const std::string& error() const { return error_; }

 protected:
  bool fail(std::string what) {
    error_ = std::move(what);
    return false;
  }

 private:
  std::string error_;
};

}  // namespace zdr::host
