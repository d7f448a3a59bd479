// The host's value types and math, all in one include (max.h includes this).
#pragma once

#include "gfloat.h"
#include "point2.h"
#include "point3.h"
#include "point4.h"
#include "color.h"
#include "matrix3.h"
#include "quat.h"
#include "euler.h"
#include "scalevalue.h"
#include "decomp.h"
#include "box3.h"
#include "bitarray.h"
