// The consumer of a pin in `zdr samples`: writes one row per media sample, as CSV or as one JSON object per
// line.
#pragma once

#include <cstdio>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "host/graph/pin_consumer.h"

namespace zdr::host {

// The columns of the CSV. A list of several files has a column for the file before them.
extern const char* const kRowHeader;

// The text as a field of CSV, with the comma that ends it.
std::string csv_field(const std::string& text);

// The workers of the pins deliver concurrently, so the rows of each pin are written to a temporary file
// first.
class RowRecorder final : public PinConsumer {
 public:
  // Each row of CSV begins with `leading_fields`.
  RowRecorder(const std::string& pin_name, DeliveryGuard& guard, bool json,
              const std::string& leading_fields);

  bool receive(IMediaSample& sample) override;

  // Prints the rows after the run. An interrupt stops the printing, unless an interrupt has already ended the
  // run: then all rows are printed. False if the temporary file failed.
  bool print(std::ostream& out);

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  bool write(std::string_view text);

  std::string row_prefix_;
  bool json_;
  std::unique_ptr<std::FILE, FileCloser> rows_;
  bool written_ = true;
};

}  // namespace zdr::host
