// What registering the module writes, what unregistering takes away, and what stays. The class objects of the
// filter are linked into this program, so that the module in question is the program itself.
#include <gtest/gtest.h>
#include <streams.h>

#include <filesystem>
#include <map>
#include <string>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "platform/com/registry_key.h"
#include "tests/filters/debugger_texts.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/registry_file.h"

extern "C" HRESULT DllRegisterServer();
extern "C" HRESULT DllUnregisterServer();

namespace zdr::mp4source {
namespace {

using tests::RegistryFile;

constexpr const char16_t* kClass = u"{7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3}";
const std::u16string kSources = u"Media Type\\Extensions\\.";
const std::u16string kPlayer = u"SOFTWARE\\Microsoft\\MultiMedia\\WMPlayer\\Extensions\\.";
const std::u16string kLibrary = u"SOFTWARE\\Microsoft\\MediaPlayer\\MLS\\Extensions";
const std::u16string kInstance =
    std::u16string(u"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\") + kClass;
const std::u16string kRegistered[] = {u"3gp", u"3gpp", u"3ga", u"3gpa", u"3gpa-drm", u"3g2"};

// Two pins, of video and of audio.
constexpr const char* kFilterData =
    R"reg("FilterData"=hex:02,00,00,00,00,00,40,00,01,00,00,00,00,00,00,00,30,70,69,33,\
  0c,00,00,00,00,00,00,00,02,00,00,00,00,00,00,00,00,00,00,00,30,74,79,33,00,\
  00,00,00,48,00,00,00,58,00,00,00,31,74,79,33,00,00,00,00,68,00,00,00,58,00,\
  00,00,61,75,64,73,00,00,10,00,80,00,00,aa,00,38,9b,71,00,00,00,00,00,00,00,\
  00,00,00,00,00,00,00,00,00,76,69,64,73,00,00,10,00,80,00,00,aa,00,38,9b,71
)reg";

class Registration : public testing::Test {
 protected:
  static void make_key(const std::u16string& path) { ASSERT_EQ(com::OpenKey().create(path), ERROR_SUCCESS); }

  RegistryFile registry_;
};

// Every key of the path to it stands in the file, too.
std::string with_keys(const std::string& path, const std::string& values, std::string& last) {
  std::string text;
  for (size_t end = path.find('\\'); end != std::string::npos;) {
    end = path.find('\\', end + 1);
    const std::string key = path.substr(0, end);
    if (!last.starts_with(key) || (last.size() > key.size() && last[key.size()] != '\\'))
      text += "\n[" + key + "]\n";
  }
  last = path;
  return text + values;
}

// The file after a first registration.
std::string expected_file() {
  const std::string clsid = "{7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3}";
  const std::string name = "\"Zandor AMR/QCP/3GPP/MP4/3G2 Source Filter\"\n";
  const std::string classes = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\";
  const std::string extensions[] = {"3g2", "3ga", "3gp", "3gpa", "3gpa-drm", "3gpp"};
  const std::string program = std::filesystem::canonical("/proc/self/exe").string();
  std::string last = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes";
  std::string file = "Windows Registry Editor Version 5.00\n";
  file += with_keys(classes + "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\" + clsid,
                    "\"CLSID\"=\"" + clsid + "\"\n" + kFilterData + "\"FriendlyName\"=" + name, last);
  file += with_keys(classes + "CLSID\\" + clsid, "@=" + name, last);
  file += with_keys(classes + "CLSID\\" + clsid + "\\InprocServer32",
                    "@=\"" + program + "\"\n\"ThreadingModel\"=\"Both\"\n", last);
  for (const std::string& extension : extensions) {
    file += with_keys(classes + "Media Type\\Extensions\\." + extension,
                      "\"Source Filter\"=\"" + clsid + "\"\n", last);
  }
  std::string videos;
  for (const std::string& extension : extensions) videos += "\"" + extension + "\"=\"video\"\n";
  const std::string microsoft = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\";
  last = "HKEY_LOCAL_MACHINE\\SOFTWARE";
  file += with_keys(microsoft + "MediaPlayer\\MLS\\Extensions", videos, last);
  for (const std::string& extension : extensions) {
    file += with_keys(microsoft + "MultiMedia\\WMPlayer\\Extensions\\." + extension,
                      "\"Permissions\"=dword:0000001f\n\"RunTime\"=dword:00000007\n", last);
  }
  return file;
}

// Six extensions in three places, and no other.
TEST_F(Registration, RequiredWholeFileIsAsExpected) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(registry_.content(), expected_file());
}

TEST_F(Registration, TwiceLeavesTheSameAndCorrectsWhatWasChanged) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  const std::string once = registry_.content();
  com::OpenKey key;
  ASSERT_EQ(key.create(kSources + u"3gp"), ERROR_SUCCESS);
  key.set_text(u"Source Filter", u"a change of somebody");
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(registry_.content(), once);
}

TEST_F(Registration, RequiredUnregisteringTakesElevenSourcesAndLeavesThePlayersEntries) {
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
  EXPECT_EQ(DllUnregisterServer(), S_OK) << "nothing left to take away is no failure";
}

// Every step of the registry fails once. What counts is whether the class, the filter and the keys of the
// extensions could be made; whether their values could be set does not.
TEST_F(Registration, RequiredFailuresCountForKeysAndNotForValues) {
  std::map<std::pair<HRESULT, std::u16string>, int> answers;
  for (int step = 1;; ++step) {
    const RegistryFile fresh;
    const tests::DebuggerTexts texts;
    const FaultAt fault(platform::FaultPoint::kRegistryStep, step);
    const HRESULT hr = DllRegisterServer();
    if (!fault.struck()) break;
    ++answers[{hr, texts.all()}];
    EXPECT_TRUE(hr != E_FAIL || RegistryFile::has_key(kInstance)) << "what was written before must stay";
  }
  const std::u16string whole = u"DllRegister Failed";
  EXPECT_GT((answers[{HRESULT_FROM_WIN32(ERROR_IO_DEVICE), whole}]), 0);
  EXPECT_GT((answers[{VFW_E_BAD_KEY, whole}]), 0);
  EXPECT_GT((answers[{E_FAIL, u""}]), 0) << "the key of a source";
  EXPECT_GT((answers[{E_FAIL, u"Failed to create \n"}]), 0) << "the key of a player";
  EXPECT_GT((answers[{S_OK, u""}]), 0) << "a value, or the key of the media library";
  EXPECT_EQ(answers.size(), 5u);
}

TEST_F(Registration, UnregisteringStopsWhenTheFilterCannotBeTakenAway) {
  ASSERT_EQ(DllRegisterServer(), S_OK);
  const std::string before = registry_.content();
  const FaultAt fault(platform::FaultPoint::kRegistryStep, 1);
  EXPECT_EQ(DllUnregisterServer(), HRESULT_FROM_WIN32(ERROR_IO_DEVICE));
  EXPECT_EQ(registry_.content(), before);
}

TEST_F(Registration, RunningOutOfMemoryIsAnsweredAndNeverThrown) {
  std::map<HRESULT, int> answers;
  ASSERT_EQ(DllRegisterServer(), S_OK);  // later ones find their keys, which makes the rounds short
  for (uint64_t nth = 1;; nth += 7) {
    HRESULT hr;
    bool struck;
    {
      const test::FailingAllocator allocator(nth);
      hr = DllRegisterServer();
      struck = allocator.struck();
    }
    if (!struck) break;
    ++answers[hr];
  }
  EXPECT_GT(answers[E_FAIL], 0);
  EXPECT_GT(answers[E_OUTOFMEMORY] + answers[HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY)], 0);
  EXPECT_EQ(DllRegisterServer(), S_OK);
}

}  // namespace
}  // namespace zdr::mp4source
