// Sends the name of the next file to each worker that is idle. An answer is a size of eight bytes and a
// packed verdict.
#include "host/verify/worker_pool.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <list>
#include <map>
#include <span>
#include <utility>

#include "host/memory.h"
#include "host/terminal.h"
#include "host/verify/file_verifier.h"
#include "platform/win32/worker_process.h"

namespace zdr::host {
namespace {

using platform::WorkerProcess;

constexpr int kSliceMs = 100;

std::vector<std::string> worker_arguments(const Options& options) {
  std::vector<std::string> words = {"verify-worker", "--stall-timeout",
                                    std::to_string(options.stall_seconds)};
  if (!options.hash.empty()) words.insert(words.end(), {"--hash", options.hash});
  if (!options.session.empty()) words.insert(words.end(), {"--session", options.session});
  if (options.decode) words.emplace_back("--decode");
  if (options.all_entries) {
    words.emplace_back("--all");
  } else {
    words.insert(words.end(), {"--first", std::to_string(options.most_entries)});
  }
  if (options.allow_overlap) words.emplace_back("--allow-overlap");
  return words;
}

FileVerdict interrupted_verdict(const std::string& file) {
  FileVerdict verdict(file);
  verdict.add_error({MessageCode::kInterrupted, file, {}, "interrupted", ""}, ExitCode::kInterrupted,
                    Verdict::kInterrupted);
  return verdict;
}

// Of a process that failed. Ctrl-C in a terminal also ends the processes, some before they catch it.
FileVerdict failed(const std::string& file, const std::string& reason) {
  if (interrupted()) return interrupted_verdict(file);
  FileVerdict verdict(file);
  verdict.add_error({MessageCode::kModuleFailed, file, {}, reason, ""}, ExitCode::kCannotOpen,
                    Verdict::kUnreadable);
  return verdict;
}

struct Worker {
  WorkerProcess process;
  size_t file = 0;  // index of the one that it verifies
  bool is_busy = false;
  bool is_usable = true;
  std::string received;  // of its answer
};

class Pool {
 public:
  Pool(const std::vector<std::string>& files, const Options& options,
       const std::function<void(FileVerdict)>& report)
      : files_(files), arguments_(worker_arguments(options)), report_(report), workers_(options.jobs) {}

  // Workers store nothing, so those that are still busy may be killed.
  ~Pool() {
    for (Worker& worker : workers_) {
      if (worker.is_busy) worker.process.kill();
    }
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  void run(const std::function<bool()>& watch) {
    while (reported_ < files_.size() && watch()) {
      for (Worker& worker : workers_) {
        while (worker.is_usable && !worker.is_busy && has_next()) assign(worker);
      }
      collect();
      report_finished();
    }
    report_rest();
  }

 private:
  // The verdicts that waited for an earlier file and, after an interruption, the files that are being
  // verified.
  void report_rest() {
    for (const Worker& worker : workers_) {
      if (worker.is_busy && interrupted())
        finished_.emplace(worker.file, interrupted_verdict(files_[worker.file]));
    }
    for (auto& [index, verdict] : finished_) report_(std::move(verdict));
  }

  // Limits how far the workers are ahead of the file that is reported next.
  bool has_next() const { return next_ < std::min(files_.size(), reported_ + kMostAhead); }

  void assign(Worker& worker) {
    worker.file = next_++;
    const std::string& name = files_[worker.file];
    int error = worker.process.is_running() ? 0 : worker.process.start(arguments_);
    if (error == 0) error = worker.process.send({name.c_str(), name.size() + 1});
    worker.is_busy = error == 0;
    if (error == 0) return;
    worker.process.end();
    // Where no further process can be started, those that are running verify the file.
    if (std::ranges::any_of(workers_, [](const Worker& other) { return other.process.is_running(); })) {
      worker.is_usable = false;
      --next_;
      return;
    }
    finished_.emplace(worker.file,
                      failed(name, std::string("cannot be passed to a process: ") + std::strerror(error)));
  }

  void collect() {
    std::vector<WorkerProcess*> busy;
    for (Worker& worker : workers_) {
      if (worker.is_busy) busy.push_back(&worker.process);
    }
    if (busy.empty()) return;
    WorkerProcess* const ready = WorkerProcess::wait_any(busy, kSliceMs);
    for (Worker& worker : workers_) {
      if (ready == &worker.process) receive(worker);
    }
  }

  void receive(Worker& worker) {
    if (!worker.process.receive(worker.received)) {
      // The process has ended without an answer; the next file starts another one.
      worker.process.end();
      return finish(worker,
                    failed(files_[worker.file], "the process that verified it has ended unexpectedly"));
    }
    uint64_t size = 0;
    if (worker.received.size() < sizeof size) return;
    std::memcpy(&size, worker.received.data(), sizeof size);
    if (worker.received.size() - sizeof size < size) return;
    FileVerdict verdict;
    const bool is_whole = unpack(std::string_view(worker.received).substr(sizeof size), verdict);
    finish(worker,
           is_whole ? std::move(verdict) : failed(files_[worker.file], "its process has sent invalid bytes"));
  }

  void finish(Worker& worker, FileVerdict verdict) {
    worker.is_busy = false;
    worker.received.clear();
    finished_.emplace(worker.file, std::move(verdict));
  }

  void report_finished() {
    for (auto first = finished_.begin(); first != finished_.end() && first->first == reported_;
         first = finished_.erase(first)) {
      ++reported_;
      report_(std::move(first->second));
    }
  }

  static constexpr size_t kMostAhead = 1000;

  const std::vector<std::string>& files_;
  const std::vector<std::string> arguments_;
  const std::function<void(FileVerdict)>& report_;
  std::list<Worker> workers_;
  std::map<size_t, FileVerdict> finished_;  // by index of the file; not reported yet
  size_t next_ = 0;                         // to be assigned
  size_t reported_ = 0;
};

}  // namespace

void verify_in_processes(const std::vector<std::string>& files, const Options& options,
                         const std::function<bool()>& watch, const std::function<void(FileVerdict)>& report) {
  Pool(files, options, report).run(watch);
}

ExitCode run_verify_worker(const Options& options, std::ostream& out) {
  catch_interrupts();
  Options quiet = options;
  quiet.quiet = true;
  for (std::string file; !interrupted() && std::getline(std::cin, file, '\0');) {
    limit_memory({file});
    const std::string answer = pack(verify_file(file, quiet));
    const uint64_t size = answer.size();
    out.write(reinterpret_cast<const char*>(&size), sizeof size);
    out.write(answer.data(), static_cast<std::streamsize>(size)).flush();
    if (!out) break;
  }
  return ExitCode::kDone;
}

}  // namespace zdr::host
