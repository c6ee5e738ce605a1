// The consumer of a pin in `zdr samples`: writes one row a media sample, as CSV or as a JSON object a line.
#pragma once

#include <cstdio>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "host/graph/pin_consumer.h"

namespace zdr::host {

// The first line of the CSV.
extern const char* const kRowHeader;

// The workers deliver at the same time, so the rows of each pin go to a temporary file first.
class RowRecorder final : public PinConsumer {
 public:
  RowRecorder(const std::string& pin_name, DeliveryGuard& guard, bool json);

  bool receive(IMediaSample& sample) override;

  // Call after the run. Stops at an interrupt, unless an interrupt has ended the run already: then all rows
  // are printed. False if the temporary file failed.
  bool print(std::ostream& out);

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  bool write(std::string_view text);

  std::string row_begin_;
  bool json_;
  std::unique_ptr<std::FILE, FileCloser> rows_;
  uint64_t index_ = 0;
  bool written_ = true;
};

}  // namespace zdr::host
