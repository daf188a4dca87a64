// All of libKelvoBase. A program that uses a few families compiles faster with their own headers;
// regex.h is the heaviest of them.
#pragma once

#include "KelvoBase/base_reporter.h"
#include "KelvoBase/behaviour.h"
#include "KelvoBase/font_properties.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/modelling_tolerances.h"
#include "KelvoBase/regex.h"
