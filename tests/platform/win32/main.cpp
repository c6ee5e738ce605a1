// Test program and child program in one. The runtime folder is a fresh one, so that tests meet neither the
// user's objects nor those of a test that runs beside them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "child_process.h"
#include "mediakit/files/temp_folder.h"

int main(int count, char** arguments) {
  if (const char* role = std::getenv(zdr::platform::test::kRoleVariable)) {
    return zdr::platform::test::run_child_role(role);
  }
  umask(022);  // registry files that the group may write are refused
  const zdr::tests::TempFolder runtime_folder;
  setenv("XDG_RUNTIME_DIR", runtime_folder.path().c_str(), 1);
  unsetenv("ZDR_SESSION");
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
