// Calls into a filter that may never return.
#pragma once

#include <dshow.h>

#include <functional>
#include <optional>

namespace zdr::host {

// Runs `call`, which throws nothing, on a thread of its own, and calls `keep_waiting` about ten times a
// second. Returns nothing if `keep_waiting` returned false before the call did; the call then goes on, and
// what it uses must never be released.
std::optional<HRESULT> watched_call(std::function<HRESULT()> call, const std::function<bool()>& keep_waiting);

}  // namespace zdr::host
