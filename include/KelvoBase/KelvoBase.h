// All of libKelvoBase. A program that uses a few families compiles faster with their own headers;
// regex.h is the heaviest of them.
#pragma once

#include "KelvoBase/angles.h"
#include "KelvoBase/base_reporter.h"
#include "KelvoBase/behaviour.h"
#include "KelvoBase/font_properties.h"
#include "KelvoBase/gen_mat.h"
#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/geometry_lanes.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/math_error.h"
#include "KelvoBase/matrix4.h"
#include "KelvoBase/modelling_tolerances.h"
#include "KelvoBase/packed_mat.h"
#include "KelvoBase/points.h"
#include "KelvoBase/qr_svd.h"
#include "KelvoBase/quaternions.h"
#include "KelvoBase/regex.h"
#include "KelvoBase/transforms.h"
#include "KelvoBase/tuple_containers.h"
#include "KelvoBase/vec.h"
#include "KelvoBase/vectors.h"
