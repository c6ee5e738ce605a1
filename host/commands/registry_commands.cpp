// `zdr register`, `unregister` and `registry`: write and remove the entries of the module, and show the
// registry.
#include <cstring>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "host/commands/commands.h"
#include "host/graph/module_loader.h"
#include "host/json/json_report.h"
#include "host/messages.h"
#include "host/text/decoded_text.h"
#include "host/text/wide_text.h"
#include "platform/com/class_modules.h"
#include "platform/win32/registry_file.h"

namespace zdr::host {
namespace {

using platform::RegistryReport;

ExitCode report_unreadable(const RegistryReport& report, Messages& messages) {
  if (report.error == NO_ERROR) return ExitCode::kDone;
  messages.error(unreadable_registry(report));
  return ExitCode::kCannotOpen;
}

ExitCode report_failure(const std::string& module, HRESULT hr, Messages& messages) {
  if (hr == HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) || hr == CO_E_ERRORINDLL) {
    messages.error(
        {MessageCode::kModuleFailed, module, {}, "is not a module that can be registered", hresult_text(hr)});
    return ExitCode::kCannotOpen;
  }
  const RegistryReport report = platform::report_registry();
  if (const ExitCode code = report_unreadable(report, messages); code != ExitCode::kDone) return code;
  messages.error(
      {MessageCode::kRegistryFailed, report.path, {}, "the registry cannot be written", hresult_text(hr)});
  return ExitCode::kCannotWrite;
}

ExitCode call_module(const std::string& module, const char* entry, const char* done, Messages& messages) {
  const HRESULT hr = com::call_module_entry(module, entry);
  if (FAILED(hr)) return report_failure(module, hr, messages);
  messages.note({MessageCode::kRegistryChanged, module, {}, done + platform::report_registry().path, ""});
  return ExitCode::kDone;
}

std::string type_name(DWORD type) {
  constexpr const char* kNames[] = {"REG_NONE",   "REG_SZ",      "REG_EXPAND_SZ",
                                    "REG_BINARY", "REG_DWORD",   "REG_DWORD_BIG_ENDIAN",
                                    "REG_LINK",   "REG_MULTI_SZ"};
  if (type < std::size(kNames)) return kNames[type];
  return type == REG_QWORD ? "REG_QWORD" : std::to_string(type);
}

std::string text_of(std::span<const BYTE> data) {
  std::u16string text(data.size() / sizeof(WCHAR), u'\0');
  if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(WCHAR));
  if (!text.empty() && text.back() == u'\0') text.pop_back();
  return to_utf8(text);
}

// Writes a value: text and numbers in readable form, then the bytes.
void write_value(JsonWriter& json, std::u16string_view name, DWORD type, std::span<const BYTE> data) {
  json.begin_object();
  json.member("name", to_utf8(name));
  json.member("type", type_name(type));
  if (type == REG_DWORD && data.size() == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    json.member("number", number);
  } else if (type == REG_SZ || type == REG_EXPAND_SZ) {
    json.member("text", text_of(data));
  }
  json.key("hex");
  json.hex_value(data);
  json.end_object();
}

// Writes the document while the registry is visited, since a list of all values would take more memory than
// the registry. A key without values is not listed; it appears only in the paths of its sub keys.
class KeyWriter final : public platform::RegistryVisitor {
 public:
  explicit KeyWriter(std::ostream& out) : json_(out) {}

  void on_key(const std::string& path) override {
    end_key();
    path_ = path;
  }
  void on_value(std::u16string_view name, DWORD type, std::span<const BYTE> data) override {
    begin(ExitCode::kDone);
    if (!is_in_key_) {
      json_.begin_object();
      json_.member("key", path_);
      json_.begin_array("values");
      is_in_key_ = true;
    }
    write_value(json_, name, type, data);
  }
  void finish(ExitCode code, Messages& messages) {
    begin(code);
    end_key();
    json_.end_array();
    end_json(json_, messages);
  }

 private:
  void begin(ExitCode code) {
    if (has_begun_) return;
    has_begun_ = true;
    begin_json(json_, code);
    json_.begin_array("keys");
  }
  void end_key() {
    if (!is_in_key_) return;
    is_in_key_ = false;
    json_.end_array();
    json_.end_object();
  }

  JsonWriter json_;
  std::string path_;
  bool has_begun_ = false;
  bool is_in_key_ = false;
};

}  // namespace

ExitCode run_register(const Options& options, std::ostream& /*out*/) {
  Messages messages(options.quiet);
  const std::string module = own_module_path();
  const ExitCode code = call_module(module, "DllRegisterServer", "registered in ", messages);
  if (code != ExitCode::kDone) return code;
  const std::string refusal = com::module_refusal(module);
  if (!refusal.empty())
    messages.note({MessageCode::kModuleFailed, "", {}, "registration has no effect: " + refusal, ""});
  return code;
}

ExitCode run_unregister(const Options& options, std::ostream& /*out*/) {
  Messages messages(options.quiet);
  return call_module(own_module_path(), "DllUnregisterServer", "unregistered in ", messages);
}

ExitCode run_registry(const Options& options, std::ostream& out) {
  Messages messages(options.quiet);
  if (options.json) {
    KeyWriter keys(out);
    const ExitCode code = report_unreadable(platform::visit_registry(keys), messages);
    keys.finish(code, messages);
    return code;
  }
  const RegistryReport report = platform::report_registry();
  out << report.text;
  return report_unreadable(report, messages);
}

}  // namespace zdr::host
