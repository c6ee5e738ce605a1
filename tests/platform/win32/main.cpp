// Test program and child program in one. The runtime folder is a fresh one, so that tests share no objects
// with the user's programs or with tests that run at the same time.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "child_process.h"
#include "mediakit/files/temp_folder.h"

int main(int count, char** arguments) {
  if (std::getenv(zdr::test::kChildVariable) != nullptr) return zdr::test::run_child();
  umask(022);  // registry files that the group may write are refused
  const zdr::test::TempFolder runtime_folder;
  setenv("XDG_RUNTIME_DIR", runtime_folder.path().c_str(), 1);
  unsetenv("ZDR_SESSION");
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
