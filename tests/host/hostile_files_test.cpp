// Runs damaged files through the whole system: commands, graph, filter, parser. A run ends soon no matter
// what the file claims, with an exit code, a message and outputs that agree.
//
// ZDR_HOSTILE_RUNS sets the number of files and ZDR_HOSTILE_SEED the damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "host/commands/commands.h"
#include "mediakit/files/mutator.h"
#include "mediakit/files/temp_folder.h"
#include "platform/win32/session.h"

namespace zdr::test {
namespace {

using host::ExitCode;

constexpr size_t kSmallBytes = 65536;

constexpr double kLimitMs = 5000;  // of CPU time for a small file, under a sanitizer

uint32_t setting(const char* name, uint32_t fallback) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : fallback;
}

struct Seed {
  std::string name;
  Bytes bytes;
};

// The samples, and for large ones that begin with the tables also their first 64 KiB.
std::vector<Seed> seeds() {
  std::vector<Seed> list;
  for (const auto& entry : std::filesystem::directory_iterator(ZDR_SAMPLES_DIR)) {
    const std::string extension = entry.path().extension();
    if (extension == ".sh") continue;
    const std::string content = read_file(entry.path());
    Bytes bytes(content.begin(), content.end());
    list.push_back({entry.path().filename(), bytes});
    if (bytes.size() > kSmallBytes && content.find("moov") < content.find("mdat")) {
      bytes.resize(kSmallBytes);
      list.push_back({entry.path().filename(), bytes});
    }
  }
  std::sort(list.begin(), list.end(), [](const Seed& a, const Seed& b) { return a.name < b.name; });
  return list;
}

// CPU time of all threads: an endless loop exceeds the limit, a busy machine does not.
double cpu_ms() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

struct Outcome {
  ExitCode code;
  std::string out;
  std::string err;
  double ms;
};

Outcome run_command(const std::string& command, const std::filesystem::path& file,
                    const std::filesystem::path& output) {
  host::Options options;
  options.files = {file.string()};
  options.output = output.string();
  std::ostringstream out;
  testing::internal::CaptureStderr();
  const double begun = cpu_ms();
  Outcome run{};
  if (command == "play") run.code = host::run_play(options, out);
  if (command == "info") run.code = host::run_info(options, out);
  if (command == "samples") run.code = host::run_samples(options, out);
  if (command == "plot") run.code = host::run_plot(options, out);
  run.ms = cpu_ms() - begun;
  run.out = out.str();
  run.err = testing::internal::GetCapturedStderr();
  return run;
}

// Describes what is wrong with a run; empty if nothing is.
std::string fault_of(const std::string& command, const Outcome& run, const std::filesystem::path& output) {
  const bool opened = run.code == ExitCode::kDone || run.code == ExitCode::kLoss;
  const bool refused = run.code == ExitCode::kCannotOpen || run.code == ExitCode::kNotSupported;
  if (!opened && !refused) return "exit code " + std::to_string(static_cast<int>(run.code));
  if (run.code != ExitCode::kDone && run.err.empty()) return "no message about the failure";
  if (command == "info") return {};
  std::istringstream lines(run.err);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("zdr: ")) return "a line that is not a message: " + line;
  }
  if (command != "play") return {};
  bool partial = false;
  bool whole = false;
  for (const auto& entry : std::filesystem::directory_iterator(output)) {
    (entry.path().extension() == ".part" ? partial : whole) = true;
  }
  if (refused && (partial || whole)) return "an output of a file that was refused";
  if (run.code == ExitCode::kDone && partial) return "a partial output after success";
  return {};
}

TEST(HostileFiles, EndSoonWithAnExitCodeAndAMessage) {
  ASSERT_TRUE(platform::set_private_session());
  const std::vector<Seed> originals = seeds();
  Mutator mutator(setting("ZDR_HOSTILE_SEED", 1));
  const TempFolder folder;
  size_t counts[256] = {};  // by exit code
  for (uint32_t i = setting("ZDR_HOSTILE_RUNS", 400); i > 0; --i) {
    const Seed& seed = originals[mutator.below(originals.size())];
    const Bytes bytes = mutator.damaged(seed.bytes);
    const std::filesystem::path file = folder / seed.name;
    const std::filesystem::path output = folder / "out";
    write_file(file, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    for (const std::string command : {mutator.below(2) == 0 ? "play" : "samples", "info", "plot"}) {
      std::filesystem::create_directory(output);
      const Outcome run = run_command(command, file, output);
      ++counts[static_cast<uint8_t>(run.code)];
      std::string reason = fault_of(command, run, output);
      if (bytes.size() <= kSmallBytes && run.ms > kLimitMs) reason = "took " + std::to_string(run.ms) + " ms";
      std::filesystem::remove_all(output);
      if (reason.empty()) continue;
      ADD_FAILURE() << command << " " << seed.name << ", " << i << " runs before the end: " << reason << "\n"
                    << run.err;
    }
  }
  for (const ExitCode code :
       {ExitCode::kDone, ExitCode::kCannotOpen, ExitCode::kLoss, ExitCode::kNotSupported}) {
    const auto number = static_cast<int>(code);
    EXPECT_GT(counts[number], 0u) << "no damaged file led to exit code " << number;
  }
}

}  // namespace
}  // namespace zdr::test
