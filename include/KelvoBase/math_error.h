// Error reports of the linear algebra: one handler for vectors, matrices and factorizations.
//   1. A check that fails calls reportMathError; the operation goes on after the handler returns.
//      The default handler prints the message and ends the process for severity 2.
//   2. Message texts stand in catalogs. A message id is catalog number * 4096 + index.
//   3. Nothing is thrown. A handler of your own may throw; what the failing call was about
//      to change is then unchanged or partly changed, and no storage is lost.
//   4. Process-wide and unsynchronised: one thread.
#pragma once

#include <cstdarg>

#include "KelvoBase/kelvo_api.h"

/// What a check reports, beside the arguments of the message.
struct MathError {
    unsigned short id;         ///< message id; 0 is never reported
    int severity;              ///< 1: the catalog decides; 0: continue; any other value: terminate
    unsigned short classCode;  ///< who reports, see kelvo::linalg::ClassCode
};

/// Receives every report. `args` fit the message of `id`; for the messages of the vectors the first
/// one is the name of the class as a `const char*`. Returning lets the operation continue: it then
/// touches only memory of its operands, and cells that do not exist read as 0.
typedef void (*MathErrorHandler)(unsigned short id, int severity, unsigned short classCode,
                                 va_list args);

/// One set of messages. Records are linked as they stand, so they must live as long as the process.
struct MessageCatalog {
    /// One message; its place in the set is the rest of its id.
    struct Entry {
        int severity;        ///< 0: print and continue; 2: print and terminate
        const char* format;  ///< printf format of the message
    };
    unsigned short number;  ///< 1 to 15: the top four bits of its ids
    const Entry* entries;   ///< borrowed
    unsigned count;         ///< number of entries
    MessageCatalog* next;   ///< kept by registerMessageCatalog
};

extern "C" {

/// The handler in force; defaultMathErrorHandler at the start of the process. Change it with
/// setMathErrorHandler.
extern KELVO_API MathErrorHandler mathErrorHandler;

/// Installs `handler` (null: the default one) and returns the one that was in force.
KELVO_API MathErrorHandler setMathErrorHandler(MathErrorHandler handler);

/// Prints "** ", the message and ".\n" through rptError, then either "** Processing continues.\n"
/// (severity 0) or "** Processing terminated.\n" followed by abort(). Id 0 is ignored. An id
/// without a message prints "Error number 0x<id>." and always terminates.
KELVO_API void defaultMathErrorHandler(unsigned short id, int severity, unsigned short classCode,
                                       va_list args);

/// Hands `error` and the arguments of its message to the handler.
KELVO_API void reportMathError(MathError error, ...);

/// Reports by id alone (its low 16 bits): severity 1, class code 0xF000.
KELVO_API void reportMathErrorId(unsigned id, ...);

/// Appends `catalog` (borrowed for ever) to the list unless that very record is in it or it is
/// null. Of two catalogs of one number the earlier one answers.
KELVO_API void registerMessageCatalog(MessageCatalog* catalog);

/// The message of `id`; null when no catalog has its number or the catalog is too short.
KELVO_API const MessageCatalog::Entry* lookupMessage(unsigned short id);

}  // extern "C"

/// Registers catalog 3, vectors and general messages, when the first instance is made. Each source
/// file that includes this header holds one, so that reports of its own start-up code find a text.
class KELVO_API RWMATHInit {
  public:
    RWMATHInit();
    ~RWMATHInit() { --instances; }

  private:
    static unsigned short instances;
};

/// Registers catalog 4, matrices, in the same way.
class KELVO_API RWMATXInit {
  public:
    RWMATXInit();
    ~RWMATXInit() { --instances; }

  private:
    static unsigned short instances;
};

namespace kelvo::linalg {

/// Registers catalog 5, factorizations, in the same way.
class KELVO_API FactorizationCatalogInit {
  public:
    FactorizationCatalogInit();
    ~FactorizationCatalogInit() { --instances; }

  private:
    static unsigned short instances;
};

static const RWMATHInit vectorCatalogHolder;
static const RWMATXInit matrixCatalogHolder;
static const FactorizationCatalogInit factorizationCatalogHolder;

/// Severities of descriptors and entries.
enum Severity : int { kContinue = 0, kAsInCatalog = 1, kTerminate = 2 };

/// Who reports.
enum ClassCode : unsigned short {
    kDoubleVecPickCode = 0x900D,
    kDoubleVecCode = 0x900E,
    kIntVecPickCode = 0x9017,
    kIntVecCode = 0x9018,
    kBlockCode = 0x901A,
    kSCharVecPickCode = 0x9023,
    kSCharVecCode = 0x9024,
    kNoClassCode = 0xF000  ///< free functions, and classes without a code of their own
};

/// Ids of catalog 3. Arguments after the class name are in brackets.
enum VectorMessage : unsigned short {
    kBadOrder = 0x3000,
    kBadParity,
    kBadVersion,
    kDivideByZero,
    kGenericError,
    kIndex,  ///< (int index, unsigned length - 1)
    kUndefinedLU,
    kShapeMismatch,
    kNoMemory,
    kTooFewPoints,  ///< (unsigned length, const char* what, int needed)
    kNotSquare,
    kBlockRequest,
    kSlice,   ///< (int start, unsigned n, int stride, unsigned length)
    kStride,  ///< ()
    kVectorMatrixMismatch,
    kLengthMismatch,  ///< (unsigned length, unsigned other)
    kZeroDeviation,
    kEmptyVector,  ///< (const char* function)
    kZeroPivot,
    kBadRoot
};

/// Ids of catalog 4. Arguments as the formats name them; %s is the class name.
enum MatrixMessage : unsigned short {
    kMatrixInternal = 0x4000,
    kMatrixPickRange,  ///< (int index, int limit - 1)
    kConstantChanged,  ///< (double from, double to)
    kComplexConstantChanged,
    kMatrixSizes,         ///< (int rows, int cols, int other rows, int other cols)
    kMatrixElement,       ///< (int i, int j, unsigned rows, unsigned cols)
    kMatrixRow,           ///< (int row, unsigned rows)
    kMatrixColumn,        ///< (int column, unsigned cols)
    kMatrixDiagonal,      ///< (int diagonal, class name, unsigned rows, unsigned cols)
    kMatrixFixedElement,  ///< (int i, int j, class name)
    kMatrixPointCount,    ///< (unsigned points, unsigned rows, unsigned cols, class name)
    kBandedPointCount,
    kBandwidths,
    kMatrixNotSquare,  ///< (int rows, int cols)
    kNotSymmetric,
    kNotAntiSymmetric,
    kNotHermitian,
    kNotBanded,
    kNotTriangular,
    kNotTridiagonal,
    kMatrixTimesVector,   ///< (class name, unsigned rows, unsigned cols, unsigned length)
    kVectorTimesMatrix,   ///< (unsigned length, class name, unsigned rows, unsigned cols)
    kMatrixTimesMatrix,   ///< (class name, four unsigned)
    kMatrixElementCount,  ///< (unsigned count, class name, unsigned rows, unsigned cols)
    kLeadingSubmatrix,    ///< (unsigned k, unsigned order)
    kRestoreLength
};

/// Ids of catalog 5.
enum FactorizationMessage : unsigned short {
    kFactorizationInternal = 0x5000,
    kNoCondition,
    kRightSideLength,  ///< (unsigned length, unsigned needed)
    kNonRealDiagonal,
    kPermuteLength,  ///< (unsigned length, unsigned needed)
    kShiftDirection,
    kShiftColumns,    ///< (int k, int l)
    kDataHeight,      ///< (unsigned rows, unsigned needed)
    kRotationLength,  ///< (unsigned length, unsigned needed)
    kResidualCount,   ///< (unsigned residuals, unsigned columns)
    kNormalEquations,
    kNoSuchData,  ///< (int column, int columns)
    kPointerStride,
    kFactorNotSquare,  ///< (unsigned rows, unsigned cols)
    kBandwidthTooBig,
    kAlreadyFactored,
    kTooFewRows,  ///< (int rows, int cols)
    kNotFactored,
    kPivotSpecifier  ///< (int specifier)
};

}  // namespace kelvo::linalg
