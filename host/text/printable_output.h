// Standard output as people see it: on a terminal no name, tag or box can move the cursor.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace zdr::host {

// Passes text on by lines, each made printable().
class PrintableLines final : public std::streambuf {
 public:
  explicit PrintableLines(std::streambuf& target) : target_(target) {}

 protected:
  int_type overflow(int_type character) override;
  int sync() override;  // passes on an unfinished line too

 private:
  bool pass_on(std::string_view end);

  std::streambuf& target_;
  std::string line_;
};

// During its life, the stream passes its text through PrintableLines if `is_terminal`. A pipe or a file gets
// every byte as it is.
class PrintableOutput {
 public:
  PrintableOutput(std::ostream& out, bool is_terminal) : out_(out), target_(*out.rdbuf()), lines_(target_) {
    if (is_terminal) out.rdbuf(&lines_);
  }
  ~PrintableOutput() { out_.rdbuf(&target_); }
  PrintableOutput(const PrintableOutput&) = delete;
  PrintableOutput& operator=(const PrintableOutput&) = delete;

 private:
  std::ostream& out_;
  std::streambuf& target_;
  PrintableLines lines_;
};

}  // namespace zdr::host
