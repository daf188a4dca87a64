// Vectors written and read in short, and a model of the storage that they share.
#pragma once

#include <initializer_list>
#include <memory>
#include <random>
#include <vector>

#include "KelvoBase/vec.h"

namespace kelvo::test {

/// The elements.
template <class Vec>
std::vector<typename Vec::value_type> values(const Vec& v) {
    std::vector<typename Vec::value_type> all;
    for (unsigned i = 0; i < v.length(); ++i) all.push_back(v(static_cast<int>(i)));
    return all;
}

template <class Vec>
Vec of(std::initializer_list<typename Vec::value_type> list) {
    return Vec(list.begin(), static_cast<unsigned>(list.size()));
}
inline DoubleVec vectorOf(std::initializer_list<double> list) {
    return of<DoubleVec>(list);
}
inline IntVec indicesOf(std::initializer_list<int> list) {
    return of<IntVec>(list);
}

/// 0 1 2 ...
inline DoubleVec ramp(unsigned n) {
    return DoubleVec(n, 0.0, 1.0);
}

/// A list of positions in a numbered store: what a view of a vector or matrix amounts to.
template <class T>
struct SharedCells {
    std::shared_ptr<std::vector<T>> store = std::make_shared<std::vector<T>>();
    std::vector<int> at;  // position of each element

    SharedCells() = default;
    explicit SharedCells(const std::vector<T>& elements) : SharedCells() {
        *store = elements;
        for (int k = 0; k < static_cast<int>(elements.size()); ++k) at.push_back(k);
    }
    T& operator[](int k) { return (*store)[static_cast<std::size_t>(place(k))]; }
    int& place(int k) { return at[static_cast<std::size_t>(k)]; }
    int size() const { return static_cast<int>(at.size()); }
    std::vector<T> elements() const {
        std::vector<T> all;
        for (int place : at) all.push_back((*store)[static_cast<std::size_t>(place)]);
        return all;
    }
    /// As far as both go.
    void assign(const std::vector<T>& elements) {
        for (int k = 0; k < std::min(size(), static_cast<int>(elements.size())); ++k)
            (*this)[k] = elements[static_cast<std::size_t>(k)];
    }
};

/// Numbers for random histories, the same in every run.
class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    /// From 0 to n - 1.
    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(engine_); }

  private:
    std::mt19937 engine_;
};

}  // namespace kelvo::test
