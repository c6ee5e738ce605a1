// Registering the module, showing the registry, and finding the filter through it.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "host/commands/commands.h"
#include "host/graph/module_loader.h"
#include "platform/com/registry_key.h"
#include "tests/support/registry_file.h"

namespace zdr::test {
namespace {

using host::ExitCode;

constexpr const char16_t* kSource3gp = u"Media Type\\Extensions\\.3gp";

bool is_mapped(const std::filesystem::path& module) {
  return read_file("/proc/self/maps").find(module.string()) != std::string::npos;
}

class RegistryCommands : public testing::Test {
 protected:
  RegistryCommands() {
    options_.quiet = true;
    unsetenv("ZDR_MODULE");
    testing::internal::CaptureStderr();
  }
  ~RegistryCommands() override { testing::internal::GetCapturedStderr(); }

  // Registers a copy of the module, so that it differs from the one beside the program.
  std::filesystem::path register_copy() {
    const std::filesystem::path copy = folder_ / "Registered.so";
    std::filesystem::copy_file(ZDR_MODULE_FILE, copy);
    setenv("ZDR_MODULE", copy.c_str(), 1);
    EXPECT_EQ(host::run_register(options_, out_), ExitCode::kDone);
    unsetenv("ZDR_MODULE");
    CoFreeUnusedLibraries();
    EXPECT_FALSE(is_mapped(copy));
    return copy;
  }

  // True if a filter for the file can be created and comes from the module.
  bool comes_from(const std::filesystem::path& module, const char* file) {
    HRESULT hr = S_OK;
    const com::ComPtr<IBaseFilter> filter = host::create_source_filter(file, messages_, hr);
    EXPECT_EQ(hr, S_OK) << file;
    return filter && is_mapped(module);
  }

  RegistryFile registry_;
  TempFolder folder_;
  std::ostringstream out_;
  host::Options options_;
  host::Messages messages_{true};
};

TEST_F(RegistryCommands, FiltersComeFromTheRegisteredModule) {
  EXPECT_TRUE(comes_from(ZDR_MODULE_FILE, "clip.3gp"));
  const std::filesystem::path copy = register_copy();
  EXPECT_FALSE(comes_from(copy, "clip.mp4")) << "an extension that is not registered";
  EXPECT_TRUE(comes_from(copy, "a.b/clip.3GP"));
  EXPECT_TRUE(messages_.take_notes().empty());

  setenv("ZDR_MODULE", copy.c_str(), 1);
  EXPECT_EQ(host::run_unregister(options_, out_), ExitCode::kDone);
  unsetenv("ZDR_MODULE");
  EXPECT_FALSE(RegistryFile::has_key(kSource3gp));
  CoFreeUnusedLibraries();
  EXPECT_FALSE(comes_from(copy, "clip.3gp"));
}

TEST_F(RegistryCommands, FaultyEntriesAreReportedAndIgnored) {
  const std::filesystem::path copy = register_copy();
  std::filesystem::remove(copy);
  EXPECT_TRUE(comes_from(ZDR_MODULE_FILE, "clip.3gp"));
  std::vector<std::string> notes = messages_.take_notes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_NE(notes[0].find("[0x8007007E]"), std::string::npos) << notes[0];

  com::OpenKey key;
  ASSERT_EQ(key.create(kSource3gp), ERROR_SUCCESS);
  for (const std::u16string text : {u"{no class}", u"{7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3} and more", u""}) {
    key.set(u"Source Filter", REG_SZ, text.c_str(), 2 * text.size());
    EXPECT_TRUE(comes_from(ZDR_MODULE_FILE, "clip.3gp"));
    EXPECT_EQ(messages_.take_notes().size(), 1u);
  }

  registry_.write("REGEDIT4\nwhat is this\n");
  EXPECT_TRUE(comes_from(ZDR_MODULE_FILE, "clip.3gp"));
  notes = messages_.take_notes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_NE(notes[0].find("[0x800703F1]"), std::string::npos) << notes[0];
}

TEST_F(RegistryCommands, FailuresNameTheFileAndTheReason) {
  const std::string damaged = "REGEDIT4\nwhat is this\n";
  registry_.write(damaged);
  EXPECT_EQ(host::run_register(options_, out_), ExitCode::kCannotOpen);
  EXPECT_EQ(host::run_unregister(options_, out_), ExitCode::kCannotOpen);
  EXPECT_EQ(host::run_registry(options_, out_), ExitCode::kCannotOpen);
  EXPECT_EQ(registry_.content(), damaged);
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.find("line 2: the registry cannot be read: neither a key nor a value [0x800703F1]"),
            std::string::npos)
      << errors;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(out_.str().empty());

  std::filesystem::remove(registry_.path());
  setenv("ZDR_REGISTRY", "/proc/no-such-folder/registry.reg", 1);
  EXPECT_EQ(host::run_register(options_, out_), ExitCode::kCannotWrite);
  setenv("ZDR_MODULE", "/etc/passwd", 1);
  EXPECT_EQ(host::run_register(options_, out_), ExitCode::kCannotOpen);
}

TEST_F(RegistryCommands, ShowTheRegistryAsTextAndAsJson) {
  ASSERT_EQ(host::run_register(options_, out_), ExitCode::kDone);
  EXPECT_EQ(host::run_registry(options_, out_), ExitCode::kDone);
  EXPECT_EQ(out_.str(), registry_.content());

  options_.json = true;
  out_.str("");
  EXPECT_EQ(host::run_registry(options_, out_), ExitCode::kDone);
  const auto json = nlohmann::json::parse(out_.str());
  EXPECT_EQ(json["schema"], 1);
  size_t values = 0;
  nlohmann::json player;
  for (const auto& key : json["keys"]) {
    values += key["values"].size();
    if (key["key"] == "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\MultiMedia\\WMPlayer\\Extensions\\.3ga")
      player = key["values"];
  }
  EXPECT_EQ(values, 6u * 4 + 3 + 3);  // extensions, class with its server, filter
  ASSERT_EQ(player.size(), 2u);
  EXPECT_EQ(
      player[0],
      (nlohmann::json{{"name", "Permissions"}, {"type", "REG_DWORD"}, {"number", 31}, {"hex", "1f000000"}}));
}

// A copy of the program in an empty folder finds a module only through the registry.
TEST_F(RegistryCommands, ProgramWithoutAModuleBesideItUsesTheRegisteredOne) {
  std::filesystem::copy_file(ZDR_PROGRAM_FILE, folder_ / "zdr");
  const auto exit_code = [&](const char* sample) {
    const std::string command =
        (folder_ / "zdr").string() + " info " + ZDR_SAMPLES_DIR "/" + sample + " > /dev/null 2>&1";
    return WEXITSTATUS(std::system(command.c_str()));
  };
  EXPECT_EQ(exit_code("h263-amr.3gp"), 1);
  register_copy();
  EXPECT_EQ(exit_code("h263-amr.3gp"), 0);
  EXPECT_EQ(exit_code("avc-aac.mp4"), 0);
}

}  // namespace
}  // namespace zdr::test
