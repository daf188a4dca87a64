// All of libKelvoBase. A program that uses a few families compiles faster with their own headers;
// regex.h is the heaviest of them.
#pragma once

#include "KelvoBase/base_reporter.h"
#include "KelvoBase/behaviour.h"
#include "KelvoBase/font_properties.h"
#include "KelvoBase/gen_mat.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/math_error.h"
#include "KelvoBase/modelling_tolerances.h"
#include "KelvoBase/packed_mat.h"
#include "KelvoBase/qr_svd.h"
#include "KelvoBase/regex.h"
#include "KelvoBase/tuple_containers.h"
#include "KelvoBase/vec.h"
#include "KelvoBase/vl_warning.h"
