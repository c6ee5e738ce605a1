// Entry header of the base classes: everything that a filter module needs.
#pragma once

#include "amfilter.h"
#include "combase.h"
#include "dll_setup.h"
#include "dshow.h"
#include "module_entry.h"
#include "mtype.h"
#include "source.h"
#include "wxdebug.h"
#include "wxutil.h"
