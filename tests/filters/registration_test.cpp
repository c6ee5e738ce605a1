// What registering the module writes, what unregistering removes, and what stays. The class objects of the
// filter are linked into this program, so the module that is registered is the program itself.
#include <gtest/gtest.h>
#include <streams.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <string>

#include "platform/com/registry_key.h"
#include "tests/filters/debugger_texts.h"
#include "tests/filters/filter_under_test.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/registry_file.h"

extern "C" HRESULT DllRegisterServer();
extern "C" HRESULT DllUnregisterServer();

namespace zdr::test {
namespace {

constexpr const char16_t* kClass = u"{7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3}";
const std::u16string kSources = u"Media Type\\Extensions\\.";
const std::u16string kPlayer = u"SOFTWARE\\Microsoft\\MultiMedia\\WMPlayer\\Extensions\\.";
const std::u16string kLibrary = u"SOFTWARE\\Microsoft\\MediaPlayer\\MLS\\Extensions";
const std::u16string kInstance =
    std::u16string(u"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\") + kClass;
const std::u16string kRegistered[] = {u"3gp", u"3gpp", u"3ga", u"3gpa", u"3gpa-drm", u"3g2"};

class Registration : public testing::Test {
 protected:
  static void make_key(const std::u16string& path) { ASSERT_EQ(com::OpenKey().create(path), ERROR_SUCCESS); }

  RegistryFile registry_;
};

// registered.reg is the file after a first registration, with PROGRAM for the path of the module.
std::string expected_file() {
  std::string file = read_file(ZDR_SAMPLES_DIR "/../tests/filters/registered.reg");
  const std::string program = std::filesystem::canonical("/proc/self/exe").string();
  return file.replace(file.find("PROGRAM"), 7, program);
}

// Six extensions in three places. Registering again restores changed entries.
TEST_F(Registration, KeptSixExtensionsAreRegistered) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(registry_.content(), expected_file());
  com::OpenKey key;
  ASSERT_EQ(key.create(kSources + u"3gp"), ERROR_SUCCESS);
  key.set_text(u"Source Filter", u"changed");
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(registry_.content(), expected_file());
}

TEST_F(Registration, KeptUnregisteringTakesElevenSourcesAndLeavesThePlayersEntries) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  const char16_t* kTaken[] = {u"mp4", u"mp4a", u"mp4a-drm", u"amr",  u"3gp",     u"3gpp",
                              u"3g2", u"3ga",  u"rec",      u"3gpa", u"3gpa-drm"};
  for (const char16_t* extension : kTaken) make_key(kSources + extension);
  make_key(kSources + u"aac");       // of another program
  make_key(kSources + u"amr\\Sub");  // a key with sub keys stays
  EXPECT_EQ(DllUnregisterServer(), S_OK);
  for (const std::u16string extension : kTaken) {
    EXPECT_EQ(RegistryFile::has_key(kSources + extension), extension == u"amr");
  }
  EXPECT_TRUE(RegistryFile::has_key(kSources + u"aac"));
  for (const std::u16string& extension : kRegistered) {
    EXPECT_EQ(registry_.text(kLibrary, extension.c_str(), HKEY_LOCAL_MACHINE), u"video");
    EXPECT_EQ(registry_.data(kPlayer + extension, u"RunTime", HKEY_LOCAL_MACHINE).size(), 4u);
  }
  EXPECT_FALSE(RegistryFile::has_key(std::u16string(u"CLSID\\") + kClass));
  EXPECT_FALSE(RegistryFile::has_key(kInstance));
  EXPECT_EQ(DllUnregisterServer(), S_OK) << "nothing left to remove is not a failure";
}

// registered.reg shows the rest of the record.
TEST_F(Registration, TheFilterHasTheSetupDataThatAreRegistered) {
  FilterUnderTest under_test;
  const LPAMOVIESETUP_FILTER setup = static_cast<CBaseFilter&>(*under_test.filter.get()).GetSetupData();
  ASSERT_EQ(setup, g_Templates[0].m_pAMovieSetup_Filter);
  EXPECT_EQ(std::u16string(setup->strName), u"Zandor AMR/QCP/3GPP/MP4/3G2 Source Filter");
  EXPECT_EQ(std::u16string(setup->lpPin->strName), u"Output");
}

// Every step of the registry fails once. Registering succeeds if the class, the filter and the keys of the
// extensions were created.
TEST_F(Registration, KeptOnlyFailuresToCreateKeysCount) {
  std::map<std::pair<HRESULT, std::u16string>, int> outcomes;
  for (int step = 1;; ++step) {
    const RegistryFile fresh;
    const DebuggerTexts texts;
    const FaultAt fault(platform::FaultPoint::kRegistryStep, step);
    const HRESULT hr = DllRegisterServer();
    if (!fault.triggered()) break;
    ++outcomes[{hr, texts.all()}];
    EXPECT_TRUE(hr != E_FAIL || RegistryFile::has_key(kInstance)) << "what was written before must stay";
  }
  const std::u16string whole = u"DllRegister Failed";
  EXPECT_GT((outcomes[{HRESULT_FROM_WIN32(ERROR_IO_DEVICE), whole}]), 0);
  EXPECT_GT((outcomes[{VFW_E_BAD_KEY, whole}]), 0);
  EXPECT_GT((outcomes[{E_FAIL, u""}]), 0) << "the key of a source";
  EXPECT_GT((outcomes[{E_FAIL, u"Failed to create \n"}]), 0) << "the key of a player";
  EXPECT_GT((outcomes[{S_OK, u""}]), 0) << "a value, or the key of the media library";
  EXPECT_EQ(outcomes.size(), 5u);
}

// True if a process that calls `entry` is killed at this step of its work on the registry.
bool dies_at(int step, HRESULT (*entry)()) {
  const pid_t child = fork();
  if (child == 0) {
    const auto die = [](platform::FaultPoint point, void* left) {
      if (point == platform::FaultPoint::kRegistryStep && --*static_cast<int*>(left) == 0) raise(SIGKILL);
      return false;
    };
    set_fault_hook(die, &step);
    _exit(entry());
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(status == 0 || WIFSIGNALED(status));
  return status != 0;
}

TEST_F(Registration, AProcessThatIsKilledAtAnyStepChangesNothing) {
  for (const auto entry : {&DllRegisterServer, &DllUnregisterServer}) {
    const std::string before = registry_.content();
    int step = 1;
    for (; dies_at(step, entry); ++step) EXPECT_EQ(registry_.content(), before) << step;
    EXPECT_GT(step, 15);
    EXPECT_NE(registry_.content(), before);
    EXPECT_FALSE(std::filesystem::exists(registry_.path().string() + ".tmp")) << "left by a killed process";
  }
}

TEST_F(Registration, UnregisteringStopsWhenTheFilterCannotBeRemoved) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  const std::string before = registry_.content();
  const FaultAt fault(platform::FaultPoint::kRegistryStep, 1);
  EXPECT_EQ(DllUnregisterServer(), HRESULT_FROM_WIN32(ERROR_IO_DEVICE));
  EXPECT_EQ(registry_.content(), before);
}

TEST_F(Registration, EveryFailedAllocationEndsInAStatus) {
  for (const auto entry : {&DllRegisterServer, &DllUnregisterServer}) {
    std::map<HRESULT, int> outcomes;
    bool triggered = true;
    for (uint64_t nth = 1; triggered; ++nth) {
      ASSERT_EQ(DllRegisterServer(), S_OK);  // so that keys are found, which makes the rounds short
      HRESULT hr;
      {
        const FailingAllocator allocator(nth);
        hr = entry();
        triggered = allocator.triggered();
      }
      ++outcomes[hr];
    }
    EXPECT_GT(outcomes[E_FAIL], 0);
    EXPECT_GT(outcomes[E_OUTOFMEMORY] + outcomes[HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY)], 0);
  }
}

}  // namespace
}  // namespace zdr::test
