// Filters and pins of the base classes, by their customary header name.
#pragma once

#include "allocator.h"
#include "base_filter.h"
#include "base_pin.h"
#include "transport_pins.h"
