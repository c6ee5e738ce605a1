// Entry header of the media interfaces: everything that a host needs to build and drive a graph of filters.
#pragma once

#include <objbase.h>
#include <windows.h>

#include "amvideo.h"
#include "evcode.h"
#include "filter_interfaces.h"
#include "fourcc.h"
#include "graph_interfaces.h"
#include "media_records.h"
#include "mmreg.h"
#include "registration.h"
#include "sample_interfaces.h"
#include "uuids.h"
