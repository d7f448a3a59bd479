// The host SDK: one header for everything a plug-in uses.
#pragma once

#include "maxtypes.h"
#include "strclass.h"
#include "tab.h"
#if __has_include("maxmath.h")
#include "maxmath.h"
#endif
#include "animtbl.h"
#include "ref.h"
#include "hold.h"
#include "iosave.h"
#include "custattrib.h"
#include "iplugin.h"
#if __has_include("weakref.h")
#include "weakref.h"
#endif
#include "notify.h"
#include "object.h"
#include "inode.h"
#include "ilayer.h"
#include "maxapi.h"
#if __has_include("viewexp.h")
#include "gfx.h"
#include "viewexp.h"
#endif
