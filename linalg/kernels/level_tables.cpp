#include "linalg/kernels/level_tables.h"

#include "linalg/kernels/instruction_level.h"

namespace kelvo::kernels {
namespace {

constexpr LevelTables kBaseTables = {
    base::kGemmTable,     base::kReflectionTable,      base::kLuTable,
    base::kCholeskyTable, base::kPivotedCholeskyTable, base::kSymmetricTable,
    base::kRotationTable};
#if defined(__x86_64__)
constexpr LevelTables kV2Tables = {
    v2::kGemmTable,     v2::kReflectionTable,      v2::kLuTable,
    v2::kCholeskyTable, v2::kPivotedCholeskyTable, v2::kSymmetricTable,
    v2::kRotationTable};
constexpr LevelTables kV3Tables = {
    v3::kGemmTable,     v3::kReflectionTable,      v3::kLuTable,
    v3::kCholeskyTable, v3::kPivotedCholeskyTable, v3::kSymmetricTable,
    v3::kRotationTable};
constexpr LevelTables kV4Tables = {
    v4::kGemmTable,     v4::kReflectionTable,      v4::kLuTable,
    v4::kCholeskyTable, v4::kPivotedCholeskyTable, v4::kSymmetricTable,
    v4::kRotationTable};
#endif

}  // namespace

const LevelTables& levelTables() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return kV2Tables;
        case Level::kV3:
            return kV3Tables;
        case Level::kV4:
            return kV4Tables;
#endif
        default:
            return kBaseTables;
    }
}

const LevelTables& levelTables(std::size_t length, std::size_t mostNarrow) {
#if defined(__x86_64__)
    if (length <= mostNarrow && activeLevel() == Level::kV4) return kV3Tables;
#endif
    return levelTables();
}

}  // namespace kelvo::kernels
