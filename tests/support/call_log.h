// CallLog: what happened in which order, told by several threads; tests compare it as a list of short texts.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zdr::tests {

// How long a test waits for something that must happen. Reached only when it fails.
inline constexpr std::chrono::seconds kPatience{30};

class CallLog {
 public:
  void add(std::string entry) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
    added_.notify_all();
  }

  // All entries since the last take.
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(entries_, {});
  }

  // Until the entry stands in the log; false when patience ends.
  bool wait_for(std::string_view entry) {
    std::unique_lock lock(mutex_);
    return added_.wait_for(lock, kPatience, [&] {
      for (const std::string& present : entries_) {
        if (present == entry) return true;
      }
      return false;
    });
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::string> entries_;
};

}  // namespace zdr::tests
