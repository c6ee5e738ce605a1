// Starts the program with fork and exec and collects its output in memory files.
#include "tests/host/commands/zdr_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <sstream>
#include <stdexcept>

namespace zdr::test {
namespace {

constexpr int kTimeoutMs = 60000;

int memory_file() {
  const int number = memfd_create("zdr output", MFD_CLOEXEC);
  if (number < 0) throw std::runtime_error("no memory file");
  return number;
}

std::string whole_file(int number) {
  std::string text;
  std::array<char, 4096> block{};
  lseek(number, 0, SEEK_SET);
  while (const ssize_t got = read(number, block.data(), block.size())) {
    if (got < 0) break;
    text.append(block.data(), static_cast<size_t>(got));
  }
  return text;
}

std::vector<char*> pointers(std::vector<std::string>& words) {
  std::vector<char*> list;
  for (std::string& word : words) list.push_back(word.data());
  list.push_back(nullptr);
  return list;
}

void set_file_limit(unsigned long bytes) {
  if (bytes == 0) return;
  const rlimit limit{bytes, bytes};
  setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace

ZdrProcess::ZdrProcess(ZdrSetup setup)
    : out_(setup.out < 0 ? memory_file() : -1), err_(setup.err < 0 ? memory_file() : -1) {
  std::vector<std::string> words{ZDR_PROGRAM};
  words.insert(words.end(), setup.arguments.begin(), setup.arguments.end());
  for (char** entry = environ; *entry != nullptr; ++entry) setup.environment.emplace_back(*entry);
  const std::vector<char*> arguments = pointers(words);
  const std::vector<char*> environment = pointers(setup.environment);
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("no process");
  if (process_ > 0) return;
  dup2(setup.out < 0 ? out_ : setup.out, STDOUT_FILENO);
  dup2(setup.err < 0 ? err_ : setup.err, STDERR_FILENO);
  set_file_limit(setup.largest_file);
  if (chdir(setup.folder.c_str()) == 0) execve(words[0].c_str(), arguments.data(), environment.data());
  _exit(127);
}

ZdrProcess::~ZdrProcess() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  if (out_ >= 0) close(out_);
  if (err_ >= 0) close(err_);
}

void ZdrProcess::send(int signal_number) const {
  kill(process_, signal_number);
}

ZdrResult ZdrProcess::finish() {
  const OpenFile handle(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
  pollfd ended{handle.number(), POLLIN, 0};
  if (poll(&ended, 1, kTimeoutMs) != 1) kill(process_, SIGKILL);
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  ZdrResult result;
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  if (out_ >= 0) result.out = whole_file(out_);
  if (err_ >= 0) result.err = whole_file(err_);
  return result;
}

std::vector<std::string> words_of(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream in(line);
  for (std::string word; std::getline(in, word, ' ');) {
    if (word.starts_with('@')) word = ZDR_SAMPLES_DIR "/" + word.substr(1);
    words.push_back(word == "''" ? "" : word);
  }
  return words;
}

ZdrResult zdr(const std::string& line, const std::filesystem::path& folder) {
  ZdrSetup setup;
  setup.arguments = words_of(line);
  setup.folder = folder;
  return ZdrProcess(std::move(setup)).finish();
}

OpenFile::~OpenFile() {
  close();
}

void OpenFile::close() {
  if (number_ >= 0) ::close(number_);
  number_ = -1;
}

std::string read_until(int number, const std::string& until) {
  std::string text;
  std::array<char, 4096> block{};
  while (until.empty() || text.find(until) == std::string::npos) {
    pollfd ready{number, POLLIN, 0};
    if (poll(&ready, 1, kTimeoutMs) != 1) break;
    const ssize_t got = read(number, block.data(), until.empty() ? block.size() : 1);
    if (got <= 0) break;
    text.append(block.data(), static_cast<size_t>(got));
  }
  return text;
}

}  // namespace zdr::test
