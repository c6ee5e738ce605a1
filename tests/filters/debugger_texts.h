// DebuggerTexts: records the text that is written to the debugger during the life of the object.
#pragma once

#include <debug_output.h>

#include <mutex>
#include <string>

namespace zdr::test {

class DebuggerTexts {
 public:
  DebuggerTexts() { platform::set_debug_output_hook(&DebuggerTexts::add, this); }
  ~DebuggerTexts() { platform::set_debug_output_hook(nullptr, nullptr); }
  DebuggerTexts(const DebuggerTexts&) = delete;
  DebuggerTexts& operator=(const DebuggerTexts&) = delete;

  std::u16string all() const {
    const std::lock_guard lock(mutex_);
    return texts_;
  }

 private:
  static void add(const WCHAR* text, void* self) {
    auto& texts = *static_cast<DebuggerTexts*>(self);
    const std::lock_guard lock(texts.mutex_);
    texts.texts_ += text;
  }

  mutable std::mutex mutex_;
  std::u16string texts_;
};

}  // namespace zdr::test
