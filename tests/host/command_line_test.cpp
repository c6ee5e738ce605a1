// The option table, and everything that is made from it.
#include "host/command_line.h"

#include <gtest/gtest.h>

#include <vector>

namespace zdr::host {
namespace {

ParsedLine parse(std::vector<const char*> words) {
  words.insert(words.begin(), "zdr");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ParsedLine line = parse_command_line(static_cast<int>(words.size()), words.data());
  testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
  return line;
}

TEST(CommandLine, ReadsOptionsOfItsCommand) {
  const ParsedLine line =
      parse({"play", "a.mp4", "b.3gp", "-o", "out", "--start", "1:00:00.5", "--only", "audio", "-q"});
  ASSERT_TRUE(line.options);
  EXPECT_EQ(line.options->command, "play");
  EXPECT_EQ(line.options->files, (std::vector<std::string>{"a.mp4", "b.3gp"}));
  EXPECT_EQ(line.options->output, "out");
  EXPECT_EQ(line.options->start, "1:00:00.5");
  EXPECT_EQ(line.options->only, "audio");
  EXPECT_TRUE(line.options->quiet);
  EXPECT_FALSE(line.options->json);
}

TEST(CommandLine, RefusesBadUsage) {
  const std::vector<std::vector<const char*>> lines = {
      {},
      {"fly", "a.mp4"},
      {"play"},
      {"play", "-"},
      {"play", "a.mp4", "--start", "soon"},
      {"play", "a.mp4", "--only", "text"},
      {"samples", "a.mp4", "b.mp4"},
      {"samples", "a.mp4", "--force"},
      {"completion", "tcsh"},
  };
  for (const auto& words : lines) {
    const ParsedLine line = parse(words);
    EXPECT_FALSE(line.options) << (words.empty() ? "" : words[0]);
    EXPECT_EQ(line.exit_code, ExitCode::kUsage) << (words.empty() ? "" : words[0]);
  }
}

TEST(CommandLine, HelpAndVersionSucceed) {
  for (const auto& words :
       std::vector<std::vector<const char*>>{{"--help"}, {"play", "--help"}, {"--version"}}) {
    const ParsedLine line = parse(words);
    EXPECT_FALSE(line.options);
    EXPECT_EQ(line.exit_code, ExitCode::kDone);
  }
}

TEST(Documents, NameEveryListedCommandAndOption) {
  const std::string texts[] = {completion_script("bash"), completion_script("zsh"), completion_script("fish"),
                               man_page("1.0")};
  for (const std::string& text : texts) {
    for (const CommandRow& command : command_rows()) {
      EXPECT_TRUE(!command.listed || text.find(command.name) != std::string::npos) << command.name;
    }
    for (const OptionRow& option : option_rows()) {
      std::string name = option.name + 2;  // fish leaves the dashes out, roff escapes them
      if (&text == &texts[3] && name.find('-') != std::string::npos) name.insert(name.find('-'), "\\");
      EXPECT_NE(text.find(name), std::string::npos) << option.name;
    }
  }
  EXPECT_TRUE(completion_script("tcsh").empty());
}

}  // namespace
}  // namespace zdr::host
