// What could break: sharing and shapes. Random operations run on matrices that share elements and,
// beside them, on a plain model in which a matrix is a list of positions in a numbered store; after
// each step every element of every matrix agrees.
#include <gtest/gtest.h>

#include "KelvoBase/packed_mat.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/vec_support.h"

namespace {

using namespace kelvo::test;

template <class Mat>
constexpr bool kGeneral = std::is_same_v<Mat, DoubleGenMat> || std::is_same_v<Mat, IntGenMat>;

template <class Mat>
class MatModel : public testing::Test {
  protected:
    using T = typename Mat::value_type;
    using Vec = decltype(std::declval<Mat&>().dataVec());
    struct Model : SharedCells<T> {
        Model(int r = 0, int c = 0, const std::vector<T>& elements = {})
            : SharedCells<T>(elements), rows(r), cols(c) {}
        int rows, cols;
    };
    struct Pair {
        Mat real;
        Model model;
    };

    static int storedSize(int rows, int cols) {
        return kGeneral<Mat> ? rows * cols : rows * (rows + 1) / 2;
    }
    // Where element (i, j) is stored; -1: nowhere, it is 0.
    static int place(const Model& m, int i, int j) {
        if (kGeneral<Mat>) return i + j * m.rows;
        if (std::is_same_v<Mat, DoubleSymMat>)
            return i > j ? i * (i + 1) / 2 + j : j * (j + 1) / 2 + i;
        if (std::is_same_v<Mat, DoubleLowerTriMat>) return j > i ? -1 : i * (i + 1) / 2 + j;
        return i > j ? -1 : j * (j + 1) / 2 + i;
    }

    int below(int n) { return dice_.below(n); }
    T number() { return static_cast<T>(below(19) - 9); }

    // New elements behind a vector of any stride, sometimes with others around them.
    Pair fresh() {
        Model m(below(5));
        m.cols = kGeneral<Mat> ? below(5) : m.rows;
        const int size = storedSize(m.rows, m.cols), stride = 1 + below(3), start = below(3);
        for (int k = 0; k < start + size * stride + 1; ++k) m.store->push_back(number());
        for (int k = 0; k < size; ++k) m.at.push_back(start + k * stride);
        const Vec all(m.store->data(), static_cast<unsigned>(m.store->size()));
        const Vec data = all.slice(start, static_cast<unsigned>(size), stride);
        return {Mat(data, static_cast<unsigned>(m.rows), static_cast<unsigned>(m.cols)), m};
    }

    static Model compacted(const Model& m) { return Model(m.rows, m.cols, m.elements()); }

    static Model resized(Model m, int rows, int cols) {
        Model r(rows, cols, std::vector<T>(static_cast<std::size_t>(storedSize(rows, cols))));
        for (int i = 0; i < std::min(rows, m.rows); ++i)
            for (int j = 0; j < std::min(cols, m.cols); ++j)
                if (place(r, i, j) >= 0) r[place(r, i, j)] = m[place(m, i, j)];
        return r;
    }

    // a(k) = op(a(k), b(k) before) for the elements that both have.
    void combine(Pair& a, Pair& b, T s) {
        const struct {
            void (*run)(Mat& a, const Mat& b, T s);
            T (*meaning)(T x, T y, T s);
        } kOperations[] = {
            {[](Mat& x, const Mat& y, T) { x = y; }, [](T, T y, T) { return y; }},
            {[](Mat& x, const Mat& y, T) { x += y; }, [](T x, T y, T) { return x + y; }},
            {[](Mat& x, const Mat& y, T) { x -= y; }, [](T x, T y, T) { return x - y; }},
            {[](Mat& x, const Mat&, T n) { x = n; }, [](T, T, T n) { return n; }},
            {[](Mat& x, const Mat&, T) { ++x; }, [](T x, T, T) { return x + 1; }},
            {[](Mat& x, const Mat&, T) { x.zero(); }, [](T, T, T) { return T(0); }},
        };
        const int which = below(static_cast<int>(std::size(kOperations)));
        Pair& other = which < 3 ? b : a;
        std::vector<T> result = a.model.elements();
        const std::vector<T> before = other.model.elements();
        result.resize(std::min(result.size(), before.size()));
        for (std::size_t k = 0; k < result.size(); ++k)
            result[k] = kOperations[which].meaning(result[k], before[k], s);
        kOperations[which].run(a.real, other.real, s);
        a.model.assign(result);
    }

    void step() {
        Pair& a = pairs_[static_cast<std::size_t>(below(kPairs))];
        Pair& b = pairs_[static_cast<std::size_t>(below(kPairs))];
        const T s = number();
        const int what = below(kGeneral<Mat> ? 16 : 12);
        if (what < 2) {
            const Pair from = what == 0 ? fresh() : b;
            a.real.reference(from.real);
            a.model = from.model;
        } else if (what == 2) {
            a.real.reference(b.real.copy());
            a.model = compacted(b.model);
        } else if (what == 3) {
            a.real.deepenShallowCopy();
            a.model = compacted(a.model);
        } else if (what < 10) {
            combine(a, b, s);
        } else if (what < 12) {
            what == 10 ? resize(a) : setOne(a, s);
        } else {
            if constexpr (kGeneral<Mat>) writeView(a, s);
        }
    }

    void resize(Pair& a) {
        const int rows = below(5), cols = kGeneral<Mat> ? below(5) : rows;
        a.real.resize(static_cast<unsigned>(rows), static_cast<unsigned>(cols));
        if (rows != a.model.rows || cols != a.model.cols) a.model = resized(a.model, rows, cols);
    }

    void setOne(Pair& a, T s) {
        if (a.model.size() == 0) return;
        const int i = below(a.model.rows), j = below(a.model.cols), at = place(a.model, i, j);
        if (at < 0) return;
        a.real.bcset(i, j, s);
        a.model[at] = s;
    }

    // Through a row, column, diagonal or pick.
    void writeView(Pair& a, T s) {
        Model& m = a.model;
        if (m.size() == 0) return;
        const int i = below(m.rows), j = below(m.cols), k = below(m.rows + m.cols - 1) - m.rows + 1;
        IntVec rows(2, i), cols(3, j);
        rows[1] = 0;
        const int way = below(4);
        if (way == 0) a.real.bcrow(i) = s;
        if (way == 1) a.real.bccol(j) = s;
        if (way == 2) a.real.bcdiagonal(k) = s;
        if (way == 3) a.real(rows, cols) = s;
        for (int r = 0; r < m.rows; ++r)
            for (int c = 0; c < m.cols; ++c) {
                const bool hit[] = {r == i, c == j, c - r == k, (r == i || r == 0) && c == j};
                if (hit[way]) m[place(m, r, c)] = s;
            }
    }

    void check() {
        for (Pair& p : pairs_) {
            ASSERT_EQ(static_cast<unsigned>(p.model.rows), p.real.rows());
            ASSERT_EQ(static_cast<unsigned>(p.model.cols), p.real.cols());
            for (int i = 0; i < p.model.rows; ++i)
                for (int j = 0; j < p.model.cols; ++j) {
                    const int at = place(p.model, i, j);
                    ASSERT_EQ(at < 0 ? T(0) : p.model[at], p.real.val(i, j)) << i << ' ' << j;
                }
        }
    }

    static constexpr int kPairs = 6;
    Dice dice_{20240};
    std::vector<Pair> pairs_;
};

using Classes =
    testing::Types<DoubleGenMat, IntGenMat, DoubleSymMat, DoubleLowerTriMat, DoubleUpperTriMat>;
TYPED_TEST_SUITE(MatModel, Classes);

TYPED_TEST(MatModel, RandomOperationsAgree) {
    RecordedErrors errors;  // shapes that differ are part of the play
    for (int k = 0; k < this->kPairs; ++k) this->pairs_.push_back(this->fresh());
    for (int n = 0; n < 6000; ++n) {
        SCOPED_TRACE(testing::Message() << "step " << n);
        this->step();
        ASSERT_NO_FATAL_FAILURE(this->check());
    }
    int differed = 0;
    for (const auto& report : errors.take()) {
        EXPECT_EQ(0x4004, report.id) << report.text;
        ++differed;
    }
    EXPECT_GT(differed, 100);
}

}  // namespace
