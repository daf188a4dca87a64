// What the kernels have compiled for every instruction level beside the loops of vector_ops.h.
// Private to the kernels.
#pragma once

#include "linalg/kernels/gemm_table.h"
#include "linalg/kernels/reflection_table.h"
#include "linalg/kernels/solver_table.h"

namespace kelvo::kernels {

struct LevelTables {
    const GemmTable& gemm;
    const ReflectionTable& reflection;
    const LuTable& lu;
    const CholeskyTable& cholesky;
    const PivotedCholeskyTable& pivotedCholesky;
    const SymmetricTable& symmetric;
    const RotationTable& rotation;
};

/// Those of the level in use.
const LevelTables& levelTables();

/// Those of v3 when the level in use is v4: columns of a hundred elements seldom fill registers of
/// eight, and their remainders cost more than the whole registers gain.
const LevelTables& narrowTables();

}  // namespace kelvo::kernels
