// What the kernels have compiled for every instruction level beside the loops of vector_ops.h.
// Private to the kernels.
#pragma once

#include <cstddef>

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

/// Those for columns of `length` elements. Up to `mostNarrow` they are those of v3 when the level in use
/// is v4: short columns seldom fill registers of eight, and their remainders cost more than the whole
/// registers gain.
const LevelTables& levelTables(std::size_t length, std::size_t mostNarrow);

}  // namespace kelvo::kernels
