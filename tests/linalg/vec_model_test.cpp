// What could break: sharing. Random operations run on views and, beside them, on a plain model in
// which a view is a list of positions in a numbered store; after each step every element agrees.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "Base/ma.h"
#include "KelvoBase/vec.h"

namespace {

template <class Vec, class Pick>
struct Kinds {
    using V = Vec;
    using P = Pick;
};

template <class Kind>
class VecModel : public testing::Test {
  protected:
    using Vec = typename Kind::V;
    using T = typename Vec::value_type;
    using Store = std::shared_ptr<std::vector<T>>;

    struct Model {
        Store store;
        std::vector<int> at;  // position of each element

        T& operator[](std::size_t i) { return (*store)[static_cast<std::size_t>(at[i])]; }
    };
    struct Pair {
        Vec real;
        Model model;
    };

    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
    T number() { return static_cast<T>(below(41) - 20); }

    static Model compact(const std::vector<T>& elements) {
        Model m{std::make_shared<std::vector<T>>(elements), {}};
        for (std::size_t i = 0; i < elements.size(); ++i) m.at.push_back(static_cast<int>(i));
        return m;
    }
    static std::vector<T> elements(Model m) {
        std::vector<T> all;
        for (std::size_t i = 0; i < m.at.size(); ++i) all.push_back(m[i]);
        return all;
    }
    static std::vector<T> elements(const Vec& v) {
        std::vector<T> all;
        for (unsigned i = 0; i < v.length(); ++i) all.push_back(v[static_cast<int>(i)]);
        return all;
    }

    Pair fresh() {
        std::vector<T> values(static_cast<std::size_t>(below(14)));
        for (T& x : values) x = number();
        return {Vec(values.data(), static_cast<unsigned>(values.size())), compact(values)};
    }

    // A random part of v in a random direction.
    Pair part(const Pair& v) {
        const int length = static_cast<int>(v.real.length());
        if (length == 0) return {v.real.slice(3, 0, 2), {v.model.store, {}}};
        const int start = below(length), stride = below(5) - 2;
        int n = 1 + below(length);
        while (start + (n - 1) * stride < 0 || start + (n - 1) * stride >= length) --n;
        Model m{v.model.store, {}};
        for (int i = 0; i < n; ++i) {
            m.at.push_back(v.model.at[static_cast<std::size_t>(start + i * stride)]);
        }
        return {v.real.slice(start, static_cast<unsigned>(n), stride), m};
    }

    // Sets the shorter length of v and w in both, as views.
    static void cutToSame(Pair& v, Pair& w) {
        const auto n = std::min(v.real.length(), w.real.length());
        for (Pair* p : {&v, &w}) {
            p->real.reference(p->real.slice(0, n));
            p->model.at.resize(n);
        }
    }

    void assignModel(Model& to, const std::vector<T>& values) {
        for (std::size_t i = 0; i < values.size(); ++i) to[i] = values[i];
    }

    void binary(Pair v, Pair w);
    void picks(Pair v, Pair w);
    void storage(Pair& v);
    void step();

    std::mt19937 random_{20};
    std::vector<Pair> pairs_;
};

template <class Kind>
void VecModel<Kind>::binary(Pair v, Pair w) {
    if (v.real.stride() == 0) return;  // one cell in many places: operations in place add up
    cutToSame(v, w);
    const std::vector<T> a = elements(v.model), b = elements(w.model);
    std::vector<T> result = b;
    const auto each = [&](auto op) {
        for (std::size_t i = 0; i < a.size(); ++i) result[i] = static_cast<T>(op(a[i], b[i]));
    };
    const int which = below(5);
    if (which == 1) each([](T x, T y) { return x + y; });
    if (which == 2) each([](T x, T y) { return x - y; });
    if (which == 3) each([](T x, T y) { return std::is_same_v<T, double> ? x + 2 * y : x * y; });
    if (which == 4) each([](T x, T) { return -x; });
    // Doubles stay small, so that both sides are exact.
    for (const T x : result) {
        if (std::fabs(x) > 1e9) return;
    }
    const Vec doubled = w.real + w.real;
    switch (which) {
        case 0:
            v.real = w.real;
            break;
        case 1:
            v.real += w.real;
            break;
        case 2:
            v.real -= w.real;
            break;
        case 3:
            std::is_same_v<T, double> ? v.real += doubled : v.real *= w.real;
            break;
        default:
            v.real = -v.real;
    }
    assignModel(v.model, result);
}

template <class Kind>
void VecModel<Kind>::picks(Pair v, Pair w) {
    const int length = static_cast<int>(v.real.length());
    if (length == 0 || w.real.length() == 0) return;
    std::vector<int> chosen(w.real.length());
    for (int& i : chosen) i = below(length);
    const auto pick = v.real.vecPick(IntVec(chosen.data(), w.real.length()));
    std::vector<T> old = elements(w.model);
    if (below(2)) {
        v.real.vecPick(IntVec(chosen.data(), w.real.length())) = w.real;
        for (std::size_t i = 0; i < old.size(); ++i) {
            v.model[static_cast<std::size_t>(chosen[i])] = old[i];
        }
    } else {
        for (std::size_t i = 0; i < old.size(); ++i) {
            old[i] = v.model[static_cast<std::size_t>(chosen[i])];
        }
        w.real = pick;
        assignModel(w.model, old);
    }
}

template <class Kind>
void VecModel<Kind>::storage(Pair& v) {
    std::vector<T> values = elements(v.model);
    const auto n = static_cast<unsigned>(below(14));
    switch (below(4)) {
        case 0:
            v.real.resize(n);
            if (n == values.size()) return;
            values.resize(n);
            break;
        case 1:
            v.real.reshape(n);
            if (n == values.size()) return;
            values.assign(n, T(3));
            v.real = T(3);
            break;
        case 2:
            v.real.reference(v.real.deepCopy());
            break;
        default: {
            const bool stays = v.model.store.use_count() == 1 && v.real.stride() == 1 &&
                               (v.model.at.empty() || v.model.at[0] == 0);
            const T* before = v.real.data();
            v.real.deepenShallowCopy();
            if (stays && before) {
                EXPECT_EQ(before, v.real.data());
            }
            if (stays) return;
        }
    }
    v.model = compact(values);
}

template <class Kind>
void VecModel<Kind>::step() {
    const auto any = [this]() -> Pair& { return pairs_[static_cast<std::size_t>(below(8))]; };
    Pair &v = any(), &w = any();
    switch (below(8)) {
        case 0: {
            const Pair made = fresh();
            v.real.reference(made.real);
            v.model = made.model;
            break;
        }
        case 1:
        case 2: {
            const Pair view = part(w);
            v.real.reference(view.real);
            v.model = view.model;
            break;
        }
        case 3:
            storage(v);
            break;
        case 4:
            picks(v, w);
            break;
        case 5:
            if (!v.model.at.empty()) {
                const int i = below(static_cast<int>(v.model.at.size()));
                v.real[i] = v.model[static_cast<std::size_t>(i)] = number();
            }
            break;
        default:
            binary(v, w);
    }
}

using AllKinds = testing::Types<Kinds<DoubleVec, DoubleVecPick>, Kinds<IntVec, IntVecPick>,
                                Kinds<SCharVec, SCharVecPick>>;
TYPED_TEST_SUITE(VecModel, AllKinds);

TYPED_TEST(VecModel, RandomOperationsOnSharingViews) {
    const long blocks = MA_liveBlocks();
    for (int i = 0; i < 8; ++i) this->pairs_.push_back(this->fresh());
    for (int i = 0; i < 20000 && !this->HasFailure(); ++i) {
        this->step();
        for (const auto& p : this->pairs_) {
            ASSERT_EQ(this->elements(p.model), this->elements(p.real)) << "step " << i;
        }
    }
    this->pairs_.clear();
    EXPECT_EQ(blocks, MA_liveBlocks());
}

}  // namespace
