// `zdr register`, `unregister` and `registry`: write and remove the entries of the module, and show the
// registry.
#include <cstring>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "host/commands/commands.h"
#include "host/decoded_text.h"
#include "host/graph/module_loader.h"
#include "host/json_report.h"
#include "host/messages.h"
#include "host/wide_text.h"
#include "platform/com/class_modules.h"
#include "platform/win32/registry_file.h"

namespace zdr::host {
namespace {

using platform::RegistryReport;

ExitCode report_failure(const std::string& module, HRESULT hr, Messages& messages) {
  if (hr == HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) || hr == CO_E_ERRORINDLL) {
    messages.error({module, "", "this is no module that can be registered", hresult_text(hr)});
    return ExitCode::kCannotOpen;
  }
  const RegistryReport report = platform::report_registry();
  if (report.error != NO_ERROR) {
    messages.error(unreadable_registry(report));
    return ExitCode::kCannotOpen;
  }
  messages.error({report.path, "", "the registry cannot be written", hresult_text(hr)});
  return ExitCode::kCannotWrite;
}

ExitCode call_module(const std::string& module, const char* entry, const char* done, Messages& messages) {
  const HRESULT hr = com::call_module_entry(module, entry);
  if (FAILED(hr)) return report_failure(module, hr, messages);
  messages.note({module, "", done + platform::report_registry().path, ""});
  return ExitCode::kDone;
}

std::string type_name(DWORD type) {
  constexpr const char* kNames[] = {"REG_NONE",   "REG_SZ",      "REG_EXPAND_SZ",
                                    "REG_BINARY", "REG_DWORD",   "REG_DWORD_BIG_ENDIAN",
                                    "REG_LINK",   "REG_MULTI_SZ"};
  if (type < std::size(kNames)) return kNames[type];
  return type == REG_QWORD ? "REG_QWORD" : std::to_string(type);
}

struct RegistryValue {
  std::string key;  // its path
  std::string name;
  DWORD type;
  std::string text;  // of texts
  std::vector<BYTE> data;
};

std::string text_of(DWORD type, std::span<const BYTE> data) {
  if (type != REG_SZ && type != REG_EXPAND_SZ) return {};
  std::u16string text(data.size() / sizeof(WCHAR), u'\0');
  if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(WCHAR));
  if (!text.empty() && text.back() == u'\0') text.pop_back();
  return to_utf8(text);
}

// Writes a value: text and numbers in readable form, then the bytes.
void write_value(JsonWriter& json, const RegistryValue& value) {
  json.begin_object();
  json.member("name", value.name);
  json.member("type", type_name(value.type));
  if (value.type == REG_DWORD && value.data.size() == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, value.data.data(), sizeof number);
    json.member("number", number);
  } else if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) {
    json.member("text", value.text);
  }
  json.key("hex");
  json.hex_value(value.data);
  json.end_object();
}

// Collects the values before any is printed, because the visit takes memory.
class ValueList final : public platform::RegistryVisitor {
 public:
  ValueList() { platform::visit_registry(*this); }
  void on_key(const std::string& path) override { path_ = path; }
  void on_value(std::u16string_view name, DWORD type, std::span<const BYTE> data) override {
    values_.push_back({path_, to_utf8(name), type, text_of(type, data), {data.begin(), data.end()}});
  }
  const std::vector<RegistryValue>& values() const { return values_; }

 private:
  std::string path_;
  std::vector<RegistryValue> values_;
};

// A key without values is not listed; it appears only in the paths of its sub keys.
void add_keys(JsonWriter& json, const std::vector<RegistryValue>& values) {
  json.begin_array("keys");
  for (auto value = values.begin(); value != values.end();) {
    const std::string& key = value->key;
    json.begin_object();
    json.member("key", key);
    json.begin_array("values");
    for (; value != values.end() && value->key == key; ++value) write_value(json, *value);
    json.end_array();
    json.end_object();
  }
  json.end_array();
}

}  // namespace

ExitCode run_register(const Options& options, std::ostream& /*out*/) {
  Messages messages(options.quiet);
  const std::string module = own_module_path();
  const ExitCode code = call_module(module, "DllRegisterServer", "registered in ", messages);
  if (code != ExitCode::kDone) return code;
  const std::string refusal = com::module_refusal(module);
  if (!refusal.empty()) messages.note({"", "", "through the registry " + refusal, ""});
  return code;
}

ExitCode run_unregister(const Options& options, std::ostream& /*out*/) {
  Messages messages(options.quiet);
  return call_module(own_module_path(), "DllUnregisterServer", "unregistered in ", messages);
}

ExitCode run_registry(const Options& options, std::ostream& out) {
  Messages messages(options.quiet);
  const RegistryReport report = platform::report_registry();
  const bool readable = report.error == NO_ERROR;
  const ExitCode code = readable ? ExitCode::kDone : ExitCode::kCannotOpen;
  if (!readable) messages.error(unreadable_registry(report));
  if (options.json) {
    const std::vector<RegistryValue> values = readable ? ValueList().values() : std::vector<RegistryValue>();
    JsonWriter json(out);
    begin_json(json, code);
    add_keys(json, values);
    end_json(json, messages);
  } else if (readable) {
    out << report.text;
  }
  return code;
}

}  // namespace zdr::host
