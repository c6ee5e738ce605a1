// Waits for the result of a call that another thread makes.
#include "host/graph/watched_call.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "host/graph/stall_watch.h"

namespace zdr::host {
namespace {

// The call and its result, which its thread and the caller share. (A promise that is dropped takes memory.)
class SharedCall {
 public:
  explicit SharedCall(std::function<HRESULT()> call) : call_(std::move(call)) {}

  void make() {
    const HRESULT result = call_();
    const std::lock_guard lock(mutex_);
    result_ = result;
    completed_.notify_one();
  }
  // Returns nothing if the result comes too late.
  std::optional<HRESULT> wait(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    completed_.wait_for(lock, timeout, [this] { return result_.has_value(); });
    return result_;
  }

 private:
  const std::function<HRESULT()> call_;
  std::mutex mutex_;
  std::condition_variable completed_;
  std::optional<HRESULT> result_;
};

}  // namespace

std::optional<HRESULT> watched_call(std::function<HRESULT()> call,
                                    const std::function<bool()>& keep_waiting) {
  std::shared_ptr<SharedCall> shared;
  std::thread thread;
  try {
    shared = std::make_shared<SharedCall>(call);
    thread = std::thread([shared] { shared->make(); });
  } catch (const std::exception&) {
    // Without a thread, an endless wait is better than neither playing nor stopping.
    return call();
  }
  std::optional<HRESULT> result;
  while (!(result = shared->wait(StallWatch::kSlice))) {
    if (keep_waiting()) continue;
    thread.detach();
    return std::nullopt;
  }
  thread.join();
  return result;
}

}  // namespace zdr::host
