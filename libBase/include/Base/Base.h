// All of libBase.
#pragma once

#include "Base/app.h"
#include "Base/base_api.h"
#include "Base/ma.h"
#include "Base/rpt.h"
#include "Base/zo.h"
#include "Base/zo_os_file.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_os_moveable_memory.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_process.h"
#include "Base/zo_os_system.h"
#include "Base/zo_os_uuid.h"
#include "Base/zo_os_view.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"
