// `zdr register`, `unregister` and `registry`: write and remove the entries of the module, and show the
// registry.
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>
#include <string>
#include <utility>

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

// Returns a value as JSON: text and numbers in readable form, then the bytes.
nlohmann::ordered_json value_json(const std::string& name, DWORD type, std::span<const BYTE> data) {
  nlohmann::ordered_json json{{"name", name}, {"type", type_name(type)}};
  if (type == REG_DWORD && data.size() == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    json["number"] = number;
  } else if (type == REG_SZ || type == REG_EXPAND_SZ) {
    std::u16string text(data.size() / sizeof(WCHAR), u'\0');
    if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(WCHAR));
    if (!text.empty() && text.back() == u'\0') text.pop_back();
    json["text"] = to_utf8(text);
  }
  json["hex"] = hex_text(data);
  return json;
}

// A key without values is not listed; it appears only in the paths of its sub keys.
class KeyList final : public platform::RegistryVisitor {
 public:
  void on_key(const std::string& path) override { path_ = path; }
  void on_value(std::u16string_view name, DWORD type, std::span<const BYTE> data) override {
    if (!path_.empty()) keys_.push_back({{"key", std::exchange(path_, {})}, {"values", array()}});
    keys_.back()["values"].push_back(value_json(to_utf8(name), type, data));
  }
  nlohmann::ordered_json take() { return std::move(keys_); }

 private:
  static nlohmann::ordered_json array() { return nlohmann::ordered_json::array(); }

  std::string path_;  // of a key that is not in the list
  nlohmann::ordered_json keys_ = array();
};

nlohmann::ordered_json keys_json() {
  KeyList list;
  platform::visit_registry(list);
  return list.take();
}

}  // namespace

ExitCode run_register(const Options& options, std::ostream& /*out*/) {
  Messages messages(options.quiet);
  const std::string module = own_module_path();
  const ExitCode code = call_module(module, "DllRegisterServer", "registered in ", messages);
  const std::string refusal = com::module_refusal(module);
  if (code == ExitCode::kDone && !refusal.empty())
    messages.note({"", "", "through the registry " + refusal, ""});
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
    nlohmann::ordered_json json = begin_json(code);
    json["keys"] = readable ? keys_json() : nlohmann::ordered_json::array();
    end_json(json, messages);
    out << json_text(json) << "\n";
  } else if (readable) {
    out << report.text;
  }
  return code;
}

}  // namespace zdr::host
