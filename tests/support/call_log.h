// CallLog: the order of calls from several threads, which tests compare as a list of short texts.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zdr::test {

// The longest time that a test waits for something that must happen. Only a failing test reaches it.
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

  // Waits until the log has the entry; false after kPatience.
  bool wait_for(std::string_view entry) {
    std::unique_lock lock(mutex_);
    return added_.wait_for(lock, kPatience, [&] {
      return std::find(entries_.begin(), entries_.end(), entry) != entries_.end();
    });
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::string> entries_;
};

}  // namespace zdr::test
