// Runs the built `zdr` as its users do: arguments, a working folder, files or a terminal as its streams.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace zdr::host {

struct ZdrSetup {
  std::vector<std::string> arguments;
  std::filesystem::path folder = ".";    // working folder
  std::vector<std::string> environment;  // "NAME=value", beside what the test itself has
  int out = -1;                          // standard output; -1: into a file that finish() reads
  int err = -1;                          // standard error; likewise
  unsigned long largest_file = 0;        // bytes that the process may write to one file; 0: no limit
};

struct ZdrResult {
  int exit_code = -1;  // minus the signal number when a signal ended it
  std::string out;     // what went to the files
  std::string err;
};

// A running zdr; it is ended and waited for when the object goes.
class ZdrProcess {
 public:
  explicit ZdrProcess(ZdrSetup setup);
  ~ZdrProcess();
  ZdrProcess(const ZdrProcess&) = delete;
  ZdrProcess& operator=(const ZdrProcess&) = delete;

  void send(int signal_number) const;
  // Waits for the end, at most a minute: then the process is killed.
  ZdrResult finish();

 private:
  pid_t process_ = -1;
  int out_;
  int err_;
};

ZdrResult run_zdr(std::vector<std::string> arguments, const std::filesystem::path& folder = ".");

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

// Reads until the other end closes, or (when `until` is not empty) until that text has come.
std::string read_until(int number, const std::string& until = "");

}  // namespace zdr::host
