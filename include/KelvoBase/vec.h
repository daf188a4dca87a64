// Dense vectors of double, int and signed char, and their indirect views (picks).
//   1. A vector is a view: block, begin, length, stride. Copying one shares its elements: a write
//      through either is seen by both. copy() gives elements of its own.
//   2. Assignment writes values: `v = w` needs equal lengths and stores into the elements of v, for
//      all views of them to see. To make v another view, use v.reference(w). std::swap, which
//      assigns, therefore does not swap.
//   3. Results of operators and functions are new and compact (own block, stride 1).
//   4. Checks report through mathErrorHandler (math_error.h). When the handler returns, the
//      operation goes on within the memory it owns: shorter operands count as far as they reach,
//      missing elements are 0, cells that do not exist are one scratch cell that reads 0.
//   5. int and signed char wrap around. Dividing an integer by zero is the caller's error.
//   6. One thread: blocks, their counts and the formatting are not synchronised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/math_error.h"

class DoubleVec;
class IntVec;
class SCharVec;
class DoubleVecPick;
class IntVecPick;
class SCharVecPick;

class RWBlock;
namespace kelvo::linalg {
RWBlock* newBlock(unsigned count, unsigned elementSize);
}

/// The storage that vectors and matrices share: one array of elements and the number of holders.
/// The holder that drops the last reference frees array and block. At most 65,535 holders; the
/// count is not checked. Records come from a free list of up to five; the small blocks of vectors and
/// matrices are used again whole.
class KELVO_API RWBlock {
  public:
    /// One holder and an array of `count` elements, not initialised. data() is null for none, and
    /// also when there is no memory: that is reported (NOMEM) and the handler may return.
    RWBlock(unsigned count, unsigned elementSize);
    ~RWBlock();
    RWBlock(const RWBlock&) = delete;
    RWBlock& operator=(const RWBlock&) = delete;

    /// The array, borrowed. One longer than a cache line begins at one.
    void* data() const { return data_; }
    /// Number of holders.
    unsigned references() const { return references_; }
    /// Takes one more reference on the block.
    void addReference() { ++references_; }
    /// Gives one reference back; the last one destroys the block.
    void removeReference() {
        if (--references_ == 0) destroy();
    }

    static void* operator new(std::size_t size);
    static void operator delete(void* record, std::size_t size);

  private:
    friend RWBlock* kelvo::linalg::newBlock(unsigned count, unsigned elementSize);
    void destroy();

    std::uint16_t references_ = 1;
    std::uint8_t shift_ = 0;       // bytes from the allocated memory to data_
    std::uint8_t arrayClass_ = 0;  // of a small array; 0 for others
    void* data_ = nullptr;         // owned
};
static_assert(sizeof(RWBlock) == 2 * sizeof(void*), "class 4 of the free list of records");

namespace kelvo::linalg {

struct VecAccess;

/// What the three vectors have in common. T is the element, Vec the vector, Pick its pick.
template <class T, class Vec, class Pick>
class KELVO_API VecBody {
  public:
    typedef T value_type;

    /// No elements; a block of its own all the same.
    VecBody();
    /// n elements, not initialised.
    explicit VecBody(unsigned n);
    /// n elements of one value.
    VecBody(unsigned n, T value);
    /// n elements: `value`, then each one the element before plus `increment` (a running sum).
    VecBody(unsigned n, T value, T increment);
    /// The n values of a plain array.
    VecBody(const T* values, unsigned n);
    /// The picked values, in the order of the pick.
    VecBody(const Pick& pick);
    /// Another view of the same elements.
    VecBody(const VecBody& v)
        : block_(v.block_), begin_(v.begin_), length_(v.length_), stride_(v.stride_) {
        block_->addReference();
    }
    ~VecBody() { block_->removeReference(); }

    /// The address of element 0; of no use (null, but for slices) for a vector without elements.
    /// Element i is at data()[i * stride()]. When NOMEM was reported and the handler returned,
    /// stride() is 0 and this is the scratch cell.
    T* data() { return begin_; }
    const T* data() const { return begin_; }
    /// Number of elements.
    unsigned length() const { return length_; }
    /// Distance between consecutive elements, in elements; may be 0 or negative.
    int stride() const { return stride_; }

    /// Element i, checked: INDEX is reported unless 0 <= i < length().
    T& operator[](int i) { return contains(i) ? *address(i) : *missing(i); }
    T operator[](int i) const { return contains(i) ? *address(i) : *missing(i); }
    /// Element i, unchecked.
    T& operator()(int i) { return *address(i); }
    T operator()(int i) const { return *address(i); }
    /// The cell i places behind element 0: unchecked, and the stride is ignored. Element i when the
    /// stride is 1.
    T& sub(int i) { return begin_[i]; }
    T sub(int i) const { return begin_[i]; }

    /// A view of the n elements start, start + stride, ... SLICE is reported unless all lie in the
    /// vector; the result is then empty. n = 0 is always accepted.
    Vec slice(int start, unsigned n, int stride = 1) const;
    /// A view of the elements that `indices` names (shared, not copied). Each index outside is
    /// reported (INDEX); it then stands for the scratch cell.
    Pick vecPick(const IntVec& indices) const;

    /// Makes this vector another view of the elements of v.
    void reference(const Vec& v);
    /// A new compact vector of the same values.
    Vec copy() const;
    Vec deepCopy() const { return copy(); }
    /// Makes this vector the only owner of compact elements; does nothing when it is.
    void deepenShallowCopy();
    /// Gives the vector n elements: old values kept, new ones 0. Other views keep the old block.
    /// Nothing happens when n is the length.
    void resize(unsigned n);
    /// The same without keeping or setting values.
    void reshape(unsigned n);

    /// Stores the values of w, pick or value in the elements of this vector, whose block and stride
    /// stay. Lengths must be equal (VNMATCH). Overlapping views give the values that the right side
    /// had before.
    VecBody& operator=(const VecBody& w) {
        assign(w);
        return *this;
    }
    Vec& operator=(T value);
    Vec& operator=(const Pick& pick);

    /// Elementwise in place; lengths must be equal (VNMATCH). Where w overlaps this vector its
    /// values before the call count.
    Vec& operator+=(const Vec& w);
    Vec& operator-=(const Vec& w);
    Vec& operator*=(const Vec& w);
    Vec& operator/=(const Vec& w);
    /// With a scalar. `-=` adds -s; for doubles `/=` multiplies by 1/s (the last bit may differ
    /// from a true division, and 0 gives infinities).
    Vec& operator+=(T s);
    Vec& operator-=(T s);
    Vec& operator*=(T s);
    Vec& operator/=(T s);
    /// Adds 1 to, or takes 1 from, every element.
    Vec& operator++();
    Vec& operator--();
    /// The negated elements, new.
    Vec operator-() const;
    /// Another view of the same elements.
    Vec operator+() const { return self(); }

    /// Elementwise, new; lengths must be equal (VNMATCH, with the left length for the result).
    friend Vec operator+(const Vec& v, const Vec& w) { return v.plus(w); }
    friend Vec operator-(const Vec& v, const Vec& w) { return v.minus(w); }
    friend Vec operator*(const Vec& v, const Vec& w) { return v.times(w); }
    friend Vec operator/(const Vec& v, const Vec& w) { return v.over(w); }
    /// With a scalar, new. `v - s` is v + (-s); for doubles `v / s` is v * (1/s).
    friend Vec operator+(const Vec& v, T s) { return v.plus(s); }
    friend Vec operator+(T s, const Vec& v) { return v.plus(s); }
    friend Vec operator-(const Vec& v, T s) { return v.minus(s); }
    friend Vec operator-(T s, const Vec& v) { return v.takenFrom(s); }
    friend Vec operator*(const Vec& v, T s) { return v.times(s); }
    friend Vec operator*(T s, const Vec& v) { return v.times(s); }
    friend Vec operator/(const Vec& v, T s) { return v.over(s); }
    friend Vec operator/(T s, const Vec& v) { return v.dividing(s); }
    /// 1 when lengths and all elements are equal, else 0; and the reverse.
    friend int operator==(const Vec& v, const Vec& w) { return v.equals(w); }
    friend int operator!=(const Vec& v, const Vec& w) { return !v.equals(w); }

    /// Writes "[ 1 2 3 ]" with the stream's own formatting (signed chars as integers). More than
    /// the set number of elements go on lines of that many, after a line with only the bracket.
    void printOn(std::ostream& os) const;
    /// Reads "[1 2 3]", or bare numbers up to the first thing that is none, and takes the length
    /// over as resize does: other views keep what they have, but where the length stays the values
    /// are stored for all views. Ends early, without a report, where the stream fails; what was
    /// read until then counts, also when the stream throws.
    void scanFrom(std::istream& is);
    friend std::ostream& operator<<(std::ostream& os, const Vec& v) {
        v.printOn(os);
        return os;
    }
    friend std::istream& operator>>(std::istream& is, Vec& v) {
        v.scanFrom(is);
        return is;
    }
    /// Sets the number of elements per line for all vectors of this class, 5 at the start, and
    /// returns the previous one. Below 1 means 5 again from the next print on.
    static int setFormatting(int count);

    /// The checks. Each reports when its condition fails and returns all the same.
    void boundsCheck(int i) const;                             ///< INDEX
    void lengthCheck(unsigned n) const;                        ///< VNMATCH
    void sliceCheck(int start, unsigned n, int stride) const;  ///< SLICE
    void strideCheck() const;                                  ///< STRIDE, unless it is 1
    void emptyErr(const char* function) const;                 ///< ZEROVEC, always

  protected:
    /// Unchecked view of v.
    VecBody(const Vec& v, int start, unsigned n, int stride);
    /// Takes one more reference on `block`.
    VecBody(RWBlock* block, T* begin, unsigned n, int stride)
        : block_(block), begin_(begin), length_(n), stride_(stride) {
        block_->addReference();
    }

    bool contains(int i) const {
        // One unsigned comparison: negative indices become larger than any length.
        return static_cast<std::uint64_t>(std::int64_t{i}) < length_;
    }
    T* address(int i) const { return begin_ + static_cast<std::ptrdiff_t>(i) * stride_; }

  private:
    friend struct VecAccess;

    bool sliceFits(int start, unsigned n, int stride) const;
    static T* scratchCell();
    T* missing(int i) const;
    const Vec& self() const { return static_cast<const Vec&>(*this); }
    Vec& self() { return static_cast<Vec&>(*this); }
    unsigned matched(unsigned n) const;
    Vec operandFor(const Vec& w) const;
    void fill(T value, unsigned from);
    void take(const T* values, int stride, unsigned n);
    void assign(const VecBody& w);
    template <class Loop>
    Vec combined(const Vec& w, Loop loop) const;
    template <class Loop>
    Vec transformed(Loop loop) const;
    template <class Loop>
    Vec& changed(const Vec& w, Loop loop);
    int equals(const Vec& w) const;
    Vec plus(const Vec& w) const;
    Vec minus(const Vec& w) const;
    Vec times(const Vec& w) const;
    Vec over(const Vec& w) const;
    Vec plus(T s) const;
    Vec minus(T s) const;
    Vec times(T s) const;
    Vec over(T s) const;
    Vec takenFrom(T s) const;
    Vec dividing(T s) const;

    static int numberPerLine;
    static T scratch;

    RWBlock* block_;  // counted, never null
    T* begin_;        // into the block
    std::uint32_t length_;
    std::int32_t stride_;
};

}  // namespace kelvo::linalg

/// Vector of double.
class KELVO_API DoubleVec : public kelvo::linalg::VecBody<double, DoubleVec, DoubleVecPick> {
  public:
    using VecBody::VecBody;
    using VecBody::operator=;
    DoubleVec() = default;

    /// f of every element, new.
    DoubleVec apply(double (*f)(double)) const;

    /// Euclidean length, without overflow or underflow on the way (the four phases of LINPACK's
    /// DNRM2). 0 for an empty vector, infinite or not a number where an element is.
    double vecLen() const;
    /// Multiplies by 1/vecLen() and returns 1; returns 0 and changes nothing when the length is 0
    /// or not a number. (The reciprocal of a length below 6e-309 is infinite.)
    int normalise();

    // An element is within `tol` (0 or more) of a value when their distance is at most tol.

    /// 1 when every element is within tol of 0, or there is none; else 0.
    int isZero(double tol) const;
    /// 1 when every element is within tol of `value`, or there is none; else 0.
    int isEqual(double value, double tol) const;
    /// Number of elements within tol of 0.
    unsigned countZero(double tol) const;
    /// Number of elements within tol of `value`.
    unsigned countValue(double value, double tol) const;
    /// Indices, ascending, of the elements within tol of 0. The results of this and the next four
    /// are slices of a block as long as this vector.
    IntVec zeroIndex(double tol) const;
    /// Indices of the elements not within tol of 0.
    IntVec nonZeroIndex(double tol) const;
    /// Indices of the elements within tol of `value`.
    IntVec valueIndex(double value, double tol) const;
    /// Indices of the elements not within tol of `value`.
    IntVec nonValueIndex(double value, double tol) const;
    /// Indices of the elements less than `value`.
    IntVec lessIndex(double value) const;
    /// Sets every element within tol of 0 to exactly 0.0.
    void clampZero(double tol);

  private:
    friend class kelvo::linalg::VecBody<double, DoubleVec, DoubleVecPick>;
    friend struct kelvo::linalg::VecAccess;
    friend class DoubleGenMat;
    friend class DoubleSymMat;
    friend class DoubleLowerTriMat;
    friend class DoubleUpperTriMat;
    friend class TtupleVector;
    friend class TtupleMatrix;
    DoubleVec(const DoubleVec& v, int start, unsigned n, int stride)
        : VecBody(v, start, n, stride) {}
    DoubleVec(RWBlock* block, double* begin, unsigned n, int stride)
        : VecBody(block, begin, n, stride) {}
};

/// Vector of int.
class KELVO_API IntVec : public kelvo::linalg::VecBody<int, IntVec, IntVecPick> {
  public:
    using VecBody::VecBody;
    using VecBody::operator=;
    IntVec() = default;

    /// The same values as double, new.
    operator DoubleVec() const;

    /// 1 when every element is `value`, or there is none; else 0.
    int isEqual(int value) const;
    /// Number of elements that are `value`.
    unsigned countValue(int value) const;
    /// Indices, ascending, of the elements that are `value`. The results of this and the next two
    /// are slices of a block as long as this vector.
    IntVec valueIndex(int value) const;
    /// Indices of the elements that are not `value`.
    IntVec nonValueIndex(int value) const;
    /// Indices of the elements less than `value`.
    IntVec lessIndex(int value) const;

  private:
    friend class kelvo::linalg::VecBody<int, IntVec, IntVecPick>;
    friend struct kelvo::linalg::VecAccess;
    friend class IntGenMat;
    IntVec(const IntVec& v, int start, unsigned n, int stride) : VecBody(v, start, n, stride) {}
    IntVec(RWBlock* block, int* begin, unsigned n, int stride) : VecBody(block, begin, n, stride) {}
};

/// Vector of signed char: small integers, read and written as such.
class KELVO_API SCharVec : public kelvo::linalg::VecBody<signed char, SCharVec, SCharVecPick> {
  public:
    using VecBody::VecBody;
    using VecBody::operator=;
    SCharVec() = default;

    /// The same values as int, new.
    operator IntVec() const;

    /// As in IntVec.
    int isEqual(signed char value) const;
    unsigned countValue(signed char value) const;
    IntVec valueIndex(signed char value) const;
    IntVec nonValueIndex(signed char value) const;
    IntVec lessIndex(signed char value) const;

  private:
    friend class kelvo::linalg::VecBody<signed char, SCharVec, SCharVecPick>;
    friend struct kelvo::linalg::VecAccess;
    SCharVec(const SCharVec& v, int start, unsigned n, int stride) : VecBody(v, start, n, stride) {}
    SCharVec(RWBlock* block, signed char* begin, unsigned n, int stride)
        : VecBody(block, begin, n, stride) {}
};

static_assert(sizeof(DoubleVec) == 24 && sizeof(IntVec) == 24 && sizeof(SCharVec) == 24,
              "block, begin, length, stride");

namespace kelvo::linalg {

/// What the three picks have in common: the elements of a vector that a list of indices names, in
/// the order of the list. Made by vecPick. It shares both the vector's elements and the indices,
/// and an index outside the vector stands for the scratch cell.
template <class T, class Vec, class Pick>
class KELVO_API PickBody {
  public:
    PickBody(const PickBody&) = default;

    /// Number of picked elements.
    unsigned length() const { return indices_.length(); }
    /// Picked element i.
    T& operator()(int i) { return *address(static_cast<unsigned>(i)); }
    T operator()(int i) const { return *address(static_cast<unsigned>(i)); }

    /// Stores values in the picked elements, in order. Lengths must be equal (VNMATCH, class of the
    /// pick). Where both sides share elements, the values before the call count.
    PickBody& operator=(const PickBody& pick) {
        assign(Vec(static_cast<const Pick&>(pick)));
        return *this;
    }
    Pick& operator=(const Vec& v);
    Pick& operator=(T value);

    /// Reports every index that is not in 0 .. length of the vector - 1 (INDEX, class of the pick).
    void assertElements() const;
    /// Reports unless length() is n (VNMATCH, class of the pick).
    void lengthCheck(unsigned n) const;

  protected:
    PickBody(const Vec& v, const IntVec& indices) : vec_(v), indices_(indices) { assertElements(); }

  private:
    friend class VecBody<T, Vec, Pick>;
    T* address(unsigned i) const;
    void assign(const Vec& v);
    void copyTo(T* target, int stride, unsigned n) const;

    Vec vec_;  // shares the elements
    IntVec indices_;
};

}  // namespace kelvo::linalg

/// Picks of the three vectors. A pick converts to a new vector of its values.
class KELVO_API DoubleVecPick : public kelvo::linalg::PickBody<double, DoubleVec, DoubleVecPick> {
  public:
    using PickBody::operator=;

  private:
    friend class kelvo::linalg::VecBody<double, DoubleVec, DoubleVecPick>;
    DoubleVecPick(const DoubleVec& v, const IntVec& indices) : PickBody(v, indices) {}
};

/// The same of an IntVec.
class KELVO_API IntVecPick : public kelvo::linalg::PickBody<int, IntVec, IntVecPick> {
  public:
    using PickBody::operator=;

  private:
    friend class kelvo::linalg::VecBody<int, IntVec, IntVecPick>;
    IntVecPick(const IntVec& v, const IntVec& indices) : PickBody(v, indices) {}
};

/// The same of an SCharVec.
class KELVO_API SCharVecPick : public kelvo::linalg::PickBody<signed char, SCharVec, SCharVecPick> {
  public:
    using PickBody::operator=;

  private:
    friend class kelvo::linalg::VecBody<signed char, SCharVec, SCharVecPick>;
    SCharVecPick(const SCharVec& v, const IntVec& indices) : PickBody(v, indices) {}
};

extern template class kelvo::linalg::VecBody<double, DoubleVec, DoubleVecPick>;
extern template class kelvo::linalg::VecBody<int, IntVec, IntVecPick>;
extern template class kelvo::linalg::VecBody<signed char, SCharVec, SCharVecPick>;
extern template class kelvo::linalg::PickBody<double, DoubleVec, DoubleVecPick>;
extern template class kelvo::linalg::PickBody<int, IntVec, IntVecPick>;
extern template class kelvo::linalg::PickBody<signed char, SCharVec, SCharVecPick>;

// ---- Conversions to the smaller type, new vectors

/// Truncated toward zero; INT_MIN for what does not fit and for not-a-number.
KELVO_API IntVec toInt(const DoubleVec& v);
/// The low 8 bits of each element.
KELVO_API SCharVec toChar(const IntVec& v);

// ---- The standard math function of every element, new. Domains and results as in <cmath>.

KELVO_API DoubleVec abs(const DoubleVec& v);
KELVO_API DoubleVec acos(const DoubleVec& v);
KELVO_API DoubleVec asin(const DoubleVec& v);
KELVO_API DoubleVec atan(const DoubleVec& v);
KELVO_API DoubleVec ceil(const DoubleVec& v);
KELVO_API DoubleVec cos(const DoubleVec& v);
KELVO_API DoubleVec cosh(const DoubleVec& v);
KELVO_API DoubleVec exp(const DoubleVec& v);
KELVO_API DoubleVec floor(const DoubleVec& v);
KELVO_API DoubleVec log(const DoubleVec& v);
KELVO_API DoubleVec log10(const DoubleVec& v);
KELVO_API DoubleVec sin(const DoubleVec& v);
KELVO_API DoubleVec sinh(const DoubleVec& v);
KELVO_API DoubleVec sqrt(const DoubleVec& v);
KELVO_API DoubleVec tan(const DoubleVec& v);
KELVO_API DoubleVec tanh(const DoubleVec& v);
/// Of two vectors of equal length (VNMATCH), elementwise.
KELVO_API DoubleVec atan2(const DoubleVec& y, const DoubleVec& x);
KELVO_API DoubleVec pow(const DoubleVec& x, const DoubleVec& y);

/// Absolute values, new. The most negative integer stays what it is.
KELVO_API IntVec abs(const IntVec& v);
KELVO_API SCharVec abs(const SCharVec& v);

// ---- Sums, differences and order

/// Running sums v(0), v(0) + v(1), ...
KELVO_API DoubleVec cumsum(const DoubleVec& v);
KELVO_API IntVec cumsum(const IntVec& v);
KELVO_API SCharVec cumsum(const SCharVec& v);
/// First differences v(0), v(1) - v(0), v(2) - v(1), ...
KELVO_API DoubleVec delta(const DoubleVec& v);
KELVO_API IntVec delta(const IntVec& v);
KELVO_API SCharVec delta(const SCharVec& v);
/// The elements from last to first.
KELVO_API DoubleVec reverse(const DoubleVec& v);
KELVO_API IntVec reverse(const IntVec& v);
KELVO_API SCharVec reverse(const SCharVec& v);
/// Sum of the products of two vectors of equal length (VNMATCH); 0 for empty ones. The order of
/// summation is not fixed for doubles.
KELVO_API double dot(const DoubleVec& v, const DoubleVec& w);
KELVO_API int dot(const IntVec& v, const IntVec& w);
KELVO_API signed char dot(const SCharVec& v, const SCharVec& w);
/// Sum of the elements; 0 for none. The order of summation is not fixed for doubles.
KELVO_API double sum(const DoubleVec& v);
KELVO_API int sum(const IntVec& v);
KELVO_API signed char sum(const SCharVec& v);
/// Product of the elements; 1 for none.
KELVO_API double prod(const DoubleVec& v);
KELVO_API int prod(const IntVec& v);
KELVO_API signed char prod(const SCharVec& v);
/// sum(v) / length; not a number for an empty vector.
KELVO_API double mean(const DoubleVec& v);
/// Sum of (v(i) - mean)^2, divided by the length. Reports NPOINTS below two elements.
KELVO_API double variance(const DoubleVec& v);

/// Index of the first largest (smallest) element; -1 for an empty vector, which is reported
/// (ZEROVEC, continues by default).
KELVO_API int maxIndex(const DoubleVec& v);
KELVO_API int maxIndex(const IntVec& v);
KELVO_API int maxIndex(const SCharVec& v);
KELVO_API int minIndex(const DoubleVec& v);
KELVO_API int minIndex(const IntVec& v);
KELVO_API int minIndex(const SCharVec& v);
/// The element there; 0 for an empty vector, reported as by the index functions.
KELVO_API double maxValue(const DoubleVec& v);
KELVO_API int maxValue(const IntVec& v);
KELVO_API signed char maxValue(const SCharVec& v);
KELVO_API double minValue(const DoubleVec& v);
KELVO_API int minValue(const IntVec& v);
KELVO_API signed char minValue(const SCharVec& v);
