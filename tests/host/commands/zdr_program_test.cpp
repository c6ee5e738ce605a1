// The built program as a process: files, exit codes, messages, signals, pipes and terminals.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <set>
#include <sstream>

#include "tests/host/commands/zdr_files.h"

namespace zdr::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string kTwoPins = sample_path("h263-amr.3gp");  // movie box after the media
const std::string kMovieFirst = sample_path("moov-first.3gp");
constexpr const char* kLeftOut =  // of both
    "the audio track's edit list is not applied: priming of 50/8000 s is not trimmed";
constexpr const char* kAudioName = "h263-amr.Audio0.amr";
constexpr const char* kVideoName = "h263-amr.Video0.h263";
constexpr const char* kOldContent = "from an earlier run";

std::vector<std::string> names_in(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

size_t lines_of(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A pipe at the path of the partial video file. The stream of 90 KB overfills the pipe, so the program blocks
// in the middle of playback until drain() reads the pipe.
class SlowVideo {
 public:
  explicit SlowVideo(const TempFolder& folder) : path_(folder / (std::string(kVideoName) + ".part")) {
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
  }
  // Waits until the program has begun to write.
  void wait_for_begin() {
    reader_ = std::make_unique<OpenFile>(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    char first = 0;
    EXPECT_EQ(read(reader_->number(), &first, 1), 1);
  }
  std::string drain() { return read_until(reader_->number()); }

 private:
  std::filesystem::path path_;
  std::unique_ptr<OpenFile> reader_;
};

// A pseudo-terminal that a program can use as its standard error.
class Terminal {
 public:
  Terminal() {
    int screen = -1;
    int line = -1;
    EXPECT_EQ(openpty(&screen, &line, nullptr, nullptr, nullptr), 0);
    screen_ = std::make_unique<OpenFile>(screen);
    line_ = std::make_unique<OpenFile>(line);
  }
  int line() const { return line_->number(); }
  // Closes this process's end of the line, so that reading the screen ends when the programs that use the
  // line end.
  void close_line() { line_->close(); }
  std::string read_until(const std::string& text = "") { return test::read_until(screen_->number(), text); }

 private:
  std::unique_ptr<OpenFile> screen_;
  std::unique_ptr<OpenFile> line_;
};

TEST(ZdrPlay, WritesEachStreamAndListsItOnStandardOutput) {
  const TempFolder folder;
  const ZdrResult result = zdr("play @h263-amr.3gp -o new/folder", folder);
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.err, "zdr: " + kTwoPins + ": " + kLeftOut + "\n");
  EXPECT_EQ(result.out,
            "new/folder/h263-amr.Audio0.amr: 21 samples, 6438 bytes\n"
            "new/folder/h263-amr.Video0.h263: 60 samples, 91655 bytes\n");
  EXPECT_THAT(names_in(folder / "new/folder"), ElementsAre(kAudioName, kVideoName));
  EXPECT_EQ(read_file(folder / "new/folder/h263-amr.Audio0.amr").substr(0, 6), "#!AMR\n");
}

// Writes one file for each kind of error.
void make_bad_files(const TempFolder& folder) {
  const std::string movie_last = read_file(kTwoPins);
  const std::string movie_first = read_file(kMovieFirst);
  std::string wrong_size = movie_first;
  const size_t track_header = wrong_size.find("tkhd");
  wrong_size.replace(track_header - 4, 4, std::string("\0\0\0\3", 4));
  write_file(folder / "empty.mp4", "");
  write_file(folder / "wrong-size.3gp", wrong_size);
  write_file(folder / "front.3gp", movie_last.substr(0, movie_last.size() / 2));
  write_file(folder / "cut.3gp", movie_first.substr(0, movie_first.size() / 2));
  write_file(folder / "notes.txt", "text");
  write_file(folder / "song.aac", "\xFF\xF1\x50\x80\x01\x1F\xFC\x01");
  std::filesystem::create_directory(folder / "folder.mp4");
  std::filesystem::create_symlink("/dev/zero", folder / "endless.amr");
  std::filesystem::create_symlink("gone.mp4", folder / "link.mp4");
  EXPECT_EQ(mkfifo((folder / "pipe.mp4").c_str(), 0600), 0);
}

TEST(ZdrErrors, AreOneLineAndAnExitCode) {
  const TempFolder folder;
  make_bad_files(folder);
  // Arguments, exit code, and the pattern of the only message after "zdr: ".
  const std::tuple<std::string, int, std::string> kCases[] = {
      {"play gone.mp4", 1, "gone.mp4: no such file \\[0x80040216\\]"},
      {"info a\nb\x1b[2J.mp4", 1, "a\\\\x0ab\\\\x1b\\[2J.mp4: no such file .*"},
      {"info link.mp4", 1, "link.mp4: no such file .*"},
      {"play folder.mp4", 1, "folder.mp4: is a folder .*"},
      {"samples pipe.mp4", 1, "pipe.mp4: is a pipe or a device, which cannot be sought"},
      {"play empty.mp4", 1, "empty.mp4: damaged: no movie box .* \\[-7033\\]"},
      {"samples front.3gp", 1, "front.3gp: damaged: no movie box .*"},
      {"info wrong-size.3gp", 1,
       "wrong-size.3gp: moov/trak.*tkhd.* at offset [0-9]+, size 3: damaged: .* \\[-7017\\]"},
      {"play notes.txt", 4, "notes.txt: unknown extension .*"},
      {"play @avc-bframes.mp4 --only audio -q", 4, ".*: no stream that can be played"},
      {"", 2, ".*--help.*"},
      {"fly a.mp4", 2, "'fly' is no command .*"},
      {"play", 2, "file is required .*"},
      {"info ''", 2, ".*a file name is empty.*"},
      {"play a.mp4 -o ''", 2, "--output: its value is empty .*"},
      {"play a.mp4 --slowly", 2, ".*--slowly.*"},
      {"play a.mp4 --start soon", 2, "--start: 'soon' is not a time .*"},
      {"play a.mp4 --only text", 2, "--only: text not in .*"},
      {"samples a.mp4 --force", 2, ".*--force.*"},
      {"samples a.mp4 b.mp4", 2, ".*b.mp4.*"},
      {"completion tcsh", 2, ".*tcsh.*"},
      {"play -", 2, ".*standard input cannot be sought.*"},
      {"play @h263-amr.3gp -o notes.txt/x", 5, "notes.txt/x: is not a folder .*"},
      {"keyframe gone.mp4 1", 1, "gone.mp4: no such file .*"},
      {"keyframe endless.amr 1", 1, "endless.amr: is a pipe or a device.*"},
      {"keyframe pipe.mp4 1", 1, "pipe.mp4: is a pipe or a device.*"},
      {"keyframe \xFF.mp4 1", 1, ".*the name is not UTF-8.*"},
      {"keyframe notes.txt 1", 4, "notes.txt: unknown extension .*"},
      {"keyframe @amr-nb.amr 1", 4, ".*no video of which pictures can be written.*"},
      {"keyframe @h263-amr.3gp 0", 2, ".*--help.*"},
      {"keyframe @h263-amr.3gp 1 -o notes.txt", 5, ".*notes.txt: exists already.*"},
      {"keyframe @h263-amr.3gp 1 -o no/folder", 5, ".*no/folder.*"},
      {"keyframe @h263-amr.3gp 1 -o pipe.mp4 --force", 5, ".*pipe.mp4: is no regular file, so it .*"},
      {"boxes gone.mp4", 1, "gone.mp4: no such file.*"},
      {"boxes .", 1, ".*: is a folder.*"},
      {"boxes empty.mp4", 1, "empty.mp4: .*no movie box found.*"},
      {"boxes song.aac", 4, "song.aac: .*not an ISO media file.*"},
      {"play cut.3gp --only video -q", 3,
       "cut.3gp: Video0: cut off: only [0-9]+ of [0-9]+ access units are in the file"},
      {"play cut.3gp --only video --strict -o o -q", 1, ".*cut off.*"},
  };
  for (const auto& [line, exit_code, message] : kCases) {
    const ZdrResult result = zdr(line, folder);
    EXPECT_EQ(result.exit_code, exit_code) << message;
    EXPECT_THAT(result.err, MatchesRegex("zdr: " + message + "\n"));
    EXPECT_EQ(lines_of(result.err), 1u) << result.err;
    // These print results anyway.
    const bool prints = message.find("cut off") != std::string::npos || line.starts_with("boxes");
    EXPECT_TRUE(result.out.empty() || prints) << result.out;
  }
}

TEST(ZdrPlay, ExitsWithTheWorstOfSeveralFilesAndPlaysTheRest) {
  const TempFolder folder;
  make_bad_files(folder);
  const ZdrResult result = zdr("play gone.mp4 notes.txt @h263-amr.3gp -q", folder);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(lines_of(result.err), 2u);
  EXPECT_TRUE(std::filesystem::exists(folder / kVideoName));
}

TEST(ZdrPlay, ExistingFileStaysAndTheOtherStreamIsWritten) {
  const TempFolder folder;
  write_file(folder / kAudioName, kOldContent);
  const ZdrResult result = zdr("play @h263-amr.3gp -q", folder);
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.err, AllOf(HasSubstr(": Audio0: "), HasSubstr(kAudioName), HasSubstr("exists already")));
  EXPECT_EQ(lines_of(result.err), 1u);
  EXPECT_THAT(result.out, AllOf(StartsWith(kVideoName), Not(HasSubstr(kAudioName))));
  EXPECT_EQ(read_file(folder / kAudioName), kOldContent);
  EXPECT_THAT(names_in(folder.path()), ElementsAre(kAudioName, kVideoName));

  EXPECT_EQ(zdr("play @h263-amr.3gp --force", folder).exit_code, 0);
  EXPECT_EQ(std::filesystem::file_size(folder / kAudioName), 6438u);
}

TEST(ZdrPlay, FailedWriteLeavesTheOldFileAndThePartialFileOfThatPin) {
  const TempFolder folder;
  write_file(folder / kVideoName, kOldContent);
  ZdrSetup setup;
  setup.arguments = words_of("play @h263-amr.3gp --force");
  setup.folder = folder.path();
  setup.largest_file = 20000;
  const ZdrResult result = ZdrProcess(setup).finish();
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.err,
              AllOf(HasSubstr(": Video0: "), HasSubstr("File too large"), HasSubstr(".h263.part")));
  EXPECT_EQ(read_file(folder / kVideoName), kOldContent);
  EXPECT_THAT(names_in(folder.path()),
              ElementsAre(kAudioName, kVideoName, std::string(kVideoName) + ".part"));
}

TEST(ZdrPlay, InterruptLeavesWhatWasWrittenAndStartsNothingMore) {
  for (const int signal_number : {SIGINT, SIGTERM}) {
    const TempFolder folder;
    write_file(folder / kVideoName, kOldContent);
    SlowVideo video(folder);
    ZdrSetup setup;
    setup.arguments = words_of("play @h263-amr.3gp @moov-first.3gp --force");
    setup.folder = folder.path();
    ZdrProcess process(setup);
    video.wait_for_begin();
    process.send(signal_number);
    video.drain();
    const ZdrResult result = process.finish();
    EXPECT_EQ(result.exit_code, 130);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr(": Video0: what was written so far is kept as h263-amr.Video0.h263.part"),
                      EndsWith(": interrupted\n")));
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_EQ(read_file(folder / kVideoName), kOldContent);
    EXPECT_THAT(names_in(folder.path()), Not(testing::Contains(StartsWith("moov-first"))));
  }
}

TEST(ZdrPlay, ShowsProgressOnATerminalOnly) {
  const TempFolder quiet_folder;
  const TempFolder file_folder;
  const TempFolder folder;
  SlowVideo quiet_video(quiet_folder);
  SlowVideo file_video(file_folder);
  SlowVideo video(folder);
  Terminal quiet_terminal;
  Terminal terminal;
  // The two programs that must show no progress start first, so that they run longer than the one that shows
  // it.
  ZdrProcess quiet(
      {words_of("play @h263-amr.3gp -q"), quiet_folder.path(), {}, -1, quiet_terminal.line(), 0});
  ZdrProcess to_file({words_of("play @h263-amr.3gp"), file_folder.path(), {}, -1, -1, 0});
  quiet_video.wait_for_begin();
  file_video.wait_for_begin();
  ZdrProcess shown({words_of("play @h263-amr.3gp"), folder.path(), {}, -1, terminal.line(), 0});
  video.wait_for_begin();
  terminal.close_line();
  quiet_terminal.close_line();
  EXPECT_THAT(terminal.read_until(" left"),
              MatchesRegex(".*\r\n\r\x1b\\[Kh263-amr.3gp: +[0-9]+% 0:00:0[0-9.]+ [0-9.]+x, 0:[0-9:.]+ left"));
  for (SlowVideo* each : {&video, &quiet_video, &file_video}) each->drain();
  EXPECT_EQ(shown.finish().exit_code, 0);
  EXPECT_EQ(quiet.finish().exit_code, 0);
  EXPECT_THAT(to_file.finish().err, Not(HasSubstr("\r")));
  EXPECT_THAT(terminal.read_until(), EndsWith("\r\x1b[K"));
  EXPECT_THAT(quiet_terminal.read_until(), IsEmpty());
}

TEST(ZdrPlay, FilesWithTheSameNameDoNotReplaceEachOther) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "other");
  std::filesystem::copy_file(kMovieFirst, folder / "other/h263-amr.mp4");
  const ZdrResult result = zdr("play @h263-amr.3gp other/h263-amr.mp4 --force", folder);
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.err, HasSubstr("other/h263-amr.mp4: not played"));
  EXPECT_EQ(std::filesystem::file_size(folder / kAudioName), 6438u);
}

TEST(ZdrOutput, ErrorsAreRedOnATerminalUnlessUnwanted) {
  for (const bool wanted : {true, false}) {
    Terminal terminal;
    ZdrSetup setup;
    setup.arguments = words_of("info gone.mp4");
    if (!wanted) setup.environment = {"NO_COLOR=1"};
    setup.err = terminal.line();
    ZdrProcess process(setup);
    terminal.close_line();
    const std::string shown = terminal.read_until();
    EXPECT_EQ(process.finish().exit_code, 1);
    EXPECT_EQ(shown.find("\x1b[31m") != std::string::npos, wanted) << shown;
  }
}

TEST(ZdrOutput, UnwritableStandardOutputIsAFailure) {
  const OpenFile full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  for (const char* line :
       {"info @h263-amr.3gp -q", "samples @h263-amr.3gp -q", "--help", "completion bash"}) {
    ZdrSetup setup;
    setup.arguments = words_of(line);
    setup.out = full.number();
    const ZdrResult result = ZdrProcess(setup).finish();
    EXPECT_EQ(result.exit_code, 5) << line;
    EXPECT_EQ(result.err, "zdr: standard output cannot be written\n") << line;
  }
}

TEST(ZdrOutput, ClosedStandardStreamsDoNotBecomeOutputFiles) {
  const TempFolder folder;
  const std::string command = ZDR_PROGRAM " play " + kTwoPins + " gone.mp4 -o " + folder.path().string();
  EXPECT_EQ(WEXITSTATUS(std::system((command + " 0<&- 1>&- 2>&-").c_str())), 5);
  EXPECT_EQ(std::filesystem::file_size(folder / kAudioName), 6438u);
  EXPECT_EQ(std::filesystem::file_size(folder / kVideoName), 91655u);
}

TEST(ZdrOutput, AClosedPipeEndsTheProgramWithoutAMessage) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  OpenFile reader(ends[0]);
  const OpenFile writer(ends[1]);
  reader.close();
  ZdrSetup setup;
  setup.arguments = words_of("samples @h263-amr.3gp -q");
  setup.out = writer.number();
  const ZdrResult result = ZdrProcess(setup).finish();
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.err, IsEmpty());
}

// The words that begin with two dashes, except --help, which every command has.
std::set<std::string> long_options(const std::string& text) {
  std::set<std::string> found;
  for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
    const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
    found.insert(text.substr(at, end - at));
  }
  found.erase("--");
  found.erase("--help");
  return found;
}

// The man page's section on a command, with plain hyphens.
std::string man_section(const std::string& page, const std::string& command) {
  const size_t begin = page.find(".SS " + command + "\n");
  if (begin == std::string::npos) return {};
  const size_t end = std::min(page.find("\n.SS ", begin), page.find("\n.SH ", begin));
  std::string section = page.substr(begin, end - begin);
  std::erase(section, '\\');
  return section;
}

// The completions that bash offers in the folder for the last of the words, each in <>.
std::string bash_completions(const TempFolder& folder, const std::string& words) {
  write_file(folder / "zdr.bash", zdr("completion bash").out);
  const std::string shell = "cd '" + folder.path().string() +
                            "' && bash -c 'source ./zdr.bash; COMP_WORDS=(zdr " + words +
                            "); COMP_CWORD=$((${#COMP_WORDS[@]}-1)); _zdr; "
                            "for offer in \"${COMPREPLY[@]}\"; do echo \"<$offer>\"; done | sort' > offers";
  EXPECT_EQ(std::system(shell.c_str()), 0);
  std::string offers = read_file(folder / "offers");
  std::erase(offers, '\n');
  return offers;
}

TEST(ZdrDocuments, HelpManPageAndCompletionListTheSameOptions) {
  const TempFolder folder;
  const std::string page = zdr("man-page").out;
  std::istringstream help(zdr("--help").out);
  size_t commands = 0;
  for (std::string line; std::getline(help, line);) {
    // Skips lines that are not rows of the list of commands.
    if (!line.starts_with("  ") || std::islower(line[2]) == 0) continue;
    const std::string command = line.substr(2, line.find(' ', 2) - 2);
    const std::set<std::string> options = long_options(zdr(command + " --help").out);
    EXPECT_EQ(long_options(man_section(page, command)), options) << command;
    EXPECT_EQ(long_options(bash_completions(folder, command + " --")), options) << command;
    EXPECT_TRUE(command != "play" || options.contains("--output"));
    ++commands;
  }
  EXPECT_GE(commands, 4u);
  // The scripts of the other shells list the same options, fish without the dashes.
  for (const std::string& option : long_options(zdr("completion bash").out)) {
    EXPECT_THAT(zdr("completion zsh").out, HasSubstr(option));
    EXPECT_THAT(zdr("completion fish").out, HasSubstr("-l " + option.substr(2)));
  }
  EXPECT_THAT(zdr("--version").out, StartsWith("zdr "));
}

TEST(ZdrDocuments, BashCompletesShellsAndNamesWithBlanks) {
  const TempFolder folder;
  write_file(folder / "a clip.mp4", "");
  std::filesystem::create_directory(folder / "a folder");
  const std::pair<std::string, std::string> kCases[] = {
      {"completion ba", "<bash>"},
      {"completion x", ""},
      {"info a", "<a clip.mp4><a folder>"},
      {"keyframe x.mp4 1 -o a", "<a clip.mp4><a folder>"},
      {"play -o a", "<a folder>"},
      {"play --only v", "<video>"},
      {"play --start a", ""},
  };
  for (const auto& [words, offers] : kCases) EXPECT_EQ(bash_completions(folder, words), offers) << words;
}

// Each of the two must be as if the other had run before it or after it.
TEST(ZdrProgram, TwoThatChangeTheRegistryAtOnceBothSucceed) {
  const TempFolder folder;
  const std::filesystem::path registry = folder / "registry.reg";
  const auto start = [&](const char* command) {
    return std::make_unique<ZdrProcess>(
        ZdrSetup{.arguments = {command}, .environment = {"ZDR_REGISTRY=" + registry.string()}});
  };
  const auto state_after = [&](const char* command) {
    EXPECT_EQ(start(command)->finish().exit_code, 0);
    return read_file(registry);
  };
  const std::string registered = state_after("register");
  const std::string unregistered = state_after("unregister");
  ASSERT_NE(registered, unregistered);
  for (int round = 0; round < 60; ++round) {
    const bool removes = round % 2 == 0;
    const auto one = start("register");
    const auto other = start(removes ? "unregister" : "register");
    EXPECT_EQ(one->finish().exit_code, 0);
    EXPECT_EQ(other->finish().exit_code, 0);
    const std::string state = read_file(registry);
    EXPECT_TRUE(state == registered || (removes && state == unregistered)) << state;
  }
}

}  // namespace
}  // namespace zdr::test
