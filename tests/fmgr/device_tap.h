// Intercepts the operations of an opened device: records them in order, and makes chosen ones fail.
#pragma once

#include <string>

#include "fmgr/records.h"

namespace zdr::test {

class DeviceTap {
 public:
  explicit DeviceTap(FMGR_Stream* stream) : device_(stream->file->device), original_(device_->ops) {
    static_cast<FMGR_DeviceOps&>(ops_) = *original_;
    ops_.close = &close;
    ops_.read = &tapped<'r', &FMGR_DeviceOps::read>;
    ops_.write = &tapped<'w', &FMGR_DeviceOps::write>;
    ops_.seek = &tapped<'s', &FMGR_DeviceOps::seek>;
    ops_.size = &tapped<'z', &FMGR_DeviceOps::size>;
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

  template <char kLetter, auto kOperation, class... Arguments>
  static int32_t tapped(FMGR_Device* device, Arguments... arguments) {
    DeviceTap& tap = of(device);
    tap.log_ += kLetter;
    return kLetter == tap.failing_ ? tap.status_ : (tap.original_->*kOperation)(device, arguments...);
  }

  // The device is released by its close, whatever that returns.
  static int32_t close(FMGR_Device* device) {
    DeviceTap& tap = of(device);
    tap.log_ += 'c';
    const int32_t status = tap.original_->close(device);
    tap.device_ = nullptr;
    return tap.failing_ == 'c' ? tap.status_ : status;
  }

  FMGR_Device* device_;
  const FMGR_DeviceOps* original_;
  TappedOps ops_{{}, this};
  std::string log_;
  char failing_ = '\0';
  int32_t status_ = 0;
};

}  // namespace zdr::test
