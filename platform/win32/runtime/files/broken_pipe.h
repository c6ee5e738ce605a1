// Makes a write into a pipe or socket without a reader fail with an error code instead of ending the process.
#pragma once

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace zdr::platform {

// Blocks the calling thread's SIGPIPE for the scope of one write, and discards it when the write raised it.
// Other threads, and a SIGPIPE that was pending before, are not affected.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() noexcept {
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&pipe_only_);
    sigaddset(&pipe_only_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_only_, &before_);
  }
  ~BrokenPipeGuard() {
    const int error = errno;
    constexpr timespec kNoTime{};
    if (error == EPIPE && !was_pending_) sigtimedwait(&pipe_only_, nullptr, &kNoTime);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  sigset_t pipe_only_;
  sigset_t before_;
  bool was_pending_;
};

}  // namespace zdr::platform
