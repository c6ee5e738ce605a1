// Transcripts of the program: transcripts/NAME.txt lists command lines and what each prints.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "mediakit/files/temp_folder.h"

namespace zdr::test {

// Runs the commands of a transcript in the folder, and expects them to print the transcript again. Otherwise
// what they print stays in the working folder as NAME.printed.
inline void expect_transcript(const std::string& name, const TempFolder& folder = TempFolder()) {
  const std::string scripts = ZDR_SAMPLES_DIR "/../tests/host/transcripts/";
  const std::string transcript = scripts + name + ".txt";
  const TempFolder output;
  const std::filesystem::path printed = output / (name + ".printed");
  // The limit ends a shell that a failed program leaves waiting at a pipe.
  const std::string command = "cd '" + folder.path().string() + "' && timeout 600 bash '" + scripts +
                              "run.sh' '" + transcript + "' '" ZDR_PROGRAM "' '" ZDR_SAMPLES_DIR "' > '" +
                              printed.string() + "'";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(read_file(printed), read_file(transcript));
  std::error_code ignored;  // the working folder may be read-only
  if (testing::Test::HasFailure()) {
    std::filesystem::copy(printed, printed.filename(), std::filesystem::copy_options::overwrite_existing,
                          ignored);
  }
}

}  // namespace zdr::test
