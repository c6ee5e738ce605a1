// Intercepts the operations of an opened device: records them in order, and makes chosen ones fail.
#pragma once

#include <string>

#include "fmgr/records.h"

namespace zdr::test {

class DeviceTap {
 public:
  explicit DeviceTap(FMGR_Stream* stream) : device_(stream->file->device), original_(device_->ops) {
    static_cast<FMGR_DeviceOps&>(ops_) = *original_;
    ops_.close = [](FMGR_Device* device) { return of(device).close(); };
    ops_.read = [](FMGR_Device* device, void* buffer, uint32_t count) {
      return of(device).run('r', [=](auto* ops) { return ops->read(device, buffer, count); });
    };
    ops_.write = [](FMGR_Device* device, const void* buffer, uint32_t count) {
      return of(device).run('w', [=](auto* ops) { return ops->write(device, buffer, count); });
    };
    ops_.seek = [](FMGR_Device* device, uint32_t low, uint32_t high, int32_t whence) {
      return of(device).run('s', [=](auto* ops) { return ops->seek(device, low, high, whence); });
    };
    ops_.size = [](FMGR_Device* device, uint64_t* size) {
      return of(device).run('z', [=](auto* ops) { return ops->size(device, size); });
    };
    device_->ops = &ops_;
  }
  ~DeviceTap() {
    if (device_) device_->ops = original_;
  }
  DeviceTap(const DeviceTap&) = delete;
  DeviceTap& operator=(const DeviceTap&) = delete;

  // From now on every operation with this letter returns `status` without reaching the device.
  void fail(char operation, int32_t status) {
    failing_ = operation;
    status_ = status;
  }
  void pass_all() { failing_ = '\0'; }

  // One letter for each operation so far: r(ead), w(rite), s(eek), si(z)e, c(lose).
  const std::string& log() const { return log_; }

 private:
  struct TappedOps : FMGR_DeviceOps {
    DeviceTap* tap;
  };

  static DeviceTap& of(FMGR_Device* device) { return *static_cast<const TappedOps*>(device->ops)->tap; }

  template <class Operation>
  int32_t run(char letter, Operation operation) {
    log_ += letter;
    return letter == failing_ ? status_ : operation(original_);
  }

  // The device is released by its close, whatever that returns.
  int32_t close() {
    log_ += 'c';
    const int32_t status = original_->close(device_);
    device_ = nullptr;
    return failing_ == 'c' ? status_ : status;
  }

  FMGR_Device* device_;
  const FMGR_DeviceOps* original_;
  TappedOps ops_{{}, this};
  std::string log_;
  char failing_ = '\0';
  int32_t status_ = 0;
};

}  // namespace zdr::test
