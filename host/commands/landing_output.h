// Where a pin begins to deliver after a seek, as JSON.
#pragma once

#include "host/graph/seek_landing.h"
#include "host/json/json_writer.h"

namespace zdr::host {

// Adds the members to the open object.
inline void add_landing(JsonWriter& json, const PinLanding& landing) {
  json.member("first_100ns", landing.first);
  json.member("sync", landing.is_sync);
  json.member("preroll_samples", landing.prerolled);
  if (landing.shown) json.member("shown_100ns", *landing.shown);
  json.member("segment_start_100ns", landing.segment_start);
}

}  // namespace zdr::host
