// Filters and pins of the base classes, under the customary name of their header.
#pragma once

#include "allocator.h"
#include "base_filter.h"
#include "base_pin.h"
#include "transport_pins.h"
