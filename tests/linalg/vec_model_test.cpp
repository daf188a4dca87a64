// What could break: sharing. Random operations run on views and, beside them, on a plain model in
// which a view is a list of positions in a numbered store; after each step every element agrees.
#include <gtest/gtest.h>

#include <cmath>

#include "Base/ma.h"
#include "tests/linalg/vec_support.h"

namespace {

using namespace kelvo::test;

template <class Vec>
class VecModel : public testing::Test {
  protected:
    using T = typename Vec::value_type;
    using Elements = std::vector<T>;
    struct Pair {
        Vec real;
        SharedCells<T> model;
    };

    T number() { return static_cast<T>(below(41) - 20); }
    int below(int n) { return dice_.below(n); }

    Pair fresh() {
        Elements elements(static_cast<std::size_t>(below(14)));
        for (T& x : elements) x = number();
        return {Vec(elements.data(), static_cast<unsigned>(elements.size())),
                SharedCells<T>(elements)};
    }

    // A random part of v in a random direction.
    Pair part(Pair& v) {
        SharedCells<T> m = v.model;
        m.at.clear();
        const int length = v.model.size();
        if (length == 0) return {v.real.slice(3, 0, 2), m};
        const int start = below(length), stride = below(5) - 2;
        int n = 1 + below(length);
        while (start + (n - 1) * stride < 0 || start + (n - 1) * stride >= length) --n;
        for (int i = 0; i < n; ++i) m.at.push_back(v.model.place(start + i * stride));
        return {v.real.slice(start, static_cast<unsigned>(n), stride), m};
    }

    void binary(Pair v, Pair w);
    void picks(Pair& v, Pair& w);
    void storage(Pair& v);
    void step();

    static void set(Pair& to, const Pair& from) {
        to.real.reference(from.real);
        to.model = from.model;
    }

    Dice dice_{20};
    std::vector<Pair> pairs_;
};

template <class Vec>
void VecModel<Vec>::binary(Pair v, Pair w) {
    if (v.real.stride() == 0) return;  // one cell in many places: operations in place add up
    constexpr bool kDoubles = std::is_same_v<T, double>;
    const struct {
        void (*run)(Vec& v, const Vec& w);
        T (*meaning)(T x, T y);
    } kOperations[] = {
        {[](Vec& x, const Vec& y) { x = y; }, [](T, T y) { return y; }},
        {[](Vec& x, const Vec& y) { x += y; }, [](T x, T y) { return static_cast<T>(x + y); }},
        {[](Vec& x, const Vec& y) { x -= y; }, [](T x, T y) { return static_cast<T>(x - y); }},
        {[](Vec& x, const Vec& y) { kDoubles ? x += y + y : x *= y; },
         [](T x, T y) { return static_cast<T>(kDoubles ? x + 2 * y : x * y); }},
        {[](Vec& x, const Vec&) { x = -x; }, [](T x, T) { return static_cast<T>(-x); }},
    };
    const auto& operation = kOperations[below(static_cast<int>(std::size(kOperations)))];
    const auto n = static_cast<unsigned>(std::min(v.model.size(), w.model.size()));
    for (Pair* p : {&v, &w}) {
        p->real.reference(p->real.slice(0, n));
        p->model.at.resize(n);
    }
    Elements result = v.model.elements();
    for (std::size_t i = 0; i < n; ++i)
        result[i] = operation.meaning(result[i], w.model.elements()[i]);
    // Doubles stay small, so that both sides are exact.
    for (const T x : result)
        if (std::fabs(x) > 1e9) return;
    operation.run(v.real, w.real);
    v.model.assign(result);
}

template <class Vec>
void VecModel<Vec>::picks(Pair& v, Pair& w) {
    if (v.model.size() == 0 || w.model.size() == 0) return;
    std::vector<int> chosen(w.model.at.size());
    for (int& i : chosen) i = below(v.model.size());
    const IntVec indices(chosen.data(), w.real.length());
    SharedCells<T> picked = v.model;
    picked.at.clear();
    for (int i : chosen) picked.at.push_back(v.model.place(i));
    if (below(2)) {
        const Elements old = w.model.elements();
        v.real.vecPick(indices) = w.real;
        picked.assign(old);
    } else {
        w.model.assign(picked.elements());
        w.real = v.real.vecPick(indices);
    }
}

template <class Vec>
void VecModel<Vec>::storage(Pair& v) {
    Elements elements = v.model.elements();
    const auto n = static_cast<unsigned>(below(14));
    const int way = below(4);
    bool stays = way < 2 && n == elements.size();
    if (way == 0) {
        v.real.resize(n);
        elements.resize(n);
    } else if (way == 1) {
        v.real.reshape(n);
        if (!stays) v.real = T(3);
        if (!stays) elements.assign(n, T(3));
    } else if (way == 2) {
        v.real.reference(v.real.deepCopy());
    } else {  // only the owner of compact elements keeps its storage
        stays = v.model.store.use_count() == 1 && v.real.stride() == 1 &&
                (v.model.at.empty() || v.model.at[0] == 0);
        const T* before = v.real.data();
        v.real.deepenShallowCopy();
        EXPECT_TRUE(!before || stays == (before == v.real.data()));
        EXPECT_EQ(1, v.real.stride());
    }
    if (!stays) v.model = SharedCells<T>(elements);
}

template <class Vec>
void VecModel<Vec>::step() {
    const auto any = [this]() -> Pair& { return pairs_[static_cast<std::size_t>(below(8))]; };
    Pair &v = any(), &w = any();
    const int what = below(8), length = v.model.size();
    if (what == 0) set(v, fresh());
    if (what == 1 || what == 2) set(v, part(w));
    if (what == 3) storage(v);
    if (what == 4) picks(v, w);
    if (what == 5 && length > 0) {
        const int i = below(length);
        v.real[i] = v.model[i] = number();
    }
    if (what > 5) binary(v, w);
}

using Classes = testing::Types<DoubleVec, IntVec, SCharVec>;
TYPED_TEST_SUITE(VecModel, Classes);

TYPED_TEST(VecModel, RandomOperationsOnSharingViews) {
    const long blocks = MA_liveBlocks();
    for (int i = 0; i < 8; ++i) this->pairs_.push_back(this->fresh());
    for (int i = 0; i < 20000 && !this->HasFailure(); ++i) {
        this->step();
        for (const auto& p : this->pairs_)
            ASSERT_EQ(p.model.elements(), values(p.real)) << "step " << i;
    }
    this->pairs_.clear();
    EXPECT_EQ(blocks, MA_liveBlocks());
}

}  // namespace
