// What the threads of the process do, for the report of a filter that hangs.
#pragma once

#include <string>

namespace zdr::host {

// Counts the other threads by their state: "1 thread asleep, 2 threads running"; empty if there are none.
std::string thread_states();

}  // namespace zdr::host
