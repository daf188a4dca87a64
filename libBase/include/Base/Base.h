// All of libBase.
#pragma once

#include "Base/base_api.h"
#include "Base/ma.h"
#include "Base/rpt.h"
#include "Base/zo.h"
#include "Base/zo_rtb.h"
#include "Base/zo_string.h"
#include "Base/zo_undo.h"
#include "Base/zo_util.h"
