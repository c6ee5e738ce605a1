// Runs the built `zdr` with arguments, a working folder, and files or a terminal as its standard streams.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace zdr::test {

struct ZdrSetup {
  std::vector<std::string> arguments;
  std::filesystem::path folder = ".";    // working folder
  std::vector<std::string> environment;  // "NAME=value", before the variables of the test
  int out = -1;                          // standard output; -1: finish() returns it
  int err = -1;                          // standard error; -1: finish() returns it
  unsigned long largest_file = 0;        // bytes that the process may write to one file; 0: no limit
};

struct ZdrResult {
  int exit_code = -1;  // minus the signal number if a signal ended it
  std::string out;     // if ZdrSetup::out is -1
  std::string err;
};

// A running zdr. The destructor kills it.
class ZdrProcess {
 public:
  explicit ZdrProcess(ZdrSetup setup);
  ~ZdrProcess();
  ZdrProcess(const ZdrProcess&) = delete;
  ZdrProcess& operator=(const ZdrProcess&) = delete;

  void send(int signal_number) const;
  // Waits for the end of the process; kills it after a minute.
  ZdrResult finish();

 private:
  pid_t process_ = -1;
  int out_;
  int err_;
};

// Splits a command line at its blanks. '' is an empty word, and @NAME a file of samples/.
std::vector<std::string> words_of(const std::string& line);

// Runs zdr with these words as its arguments.
ZdrResult zdr(const std::string& line, const std::filesystem::path& folder = ".");

// A file descriptor that closes itself.
class OpenFile {
 public:
  explicit OpenFile(int number) : number_(number) {}
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int number() const { return number_; }
  void close();

 private:
  int number_;
};

// Reads until the other end closes, or until the text ends with `until` if that is not empty.
std::string read_until(int number, const std::string& until = "");

}  // namespace zdr::test
