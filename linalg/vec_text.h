// Definitions of VecBody: text output and input. Included like vec_body.h.
#pragma once

#include <algorithm>
#include <cctype>
#include <istream>
#include <limits>
#include <ostream>

#include "linalg/vec_access.h"

namespace kelvo::linalg {

inline void writeElement(std::ostream& os, signed char value) {
    os << int{value};
}
template <class T>
void writeElement(std::ostream& os, T value) {
    os << value;
}

// A number that does not fit fails the stream, as it does for the other integers.
inline bool readElement(std::istream& is, signed char& value) {
    using Limits = std::numeric_limits<signed char>;
    int number = 0;
    if (!(is >> number)) return false;
    value = static_cast<signed char>(number);
    if (number >= Limits::min() && number <= Limits::max()) return true;
    is.setstate(std::ios::failbit);
    return false;
}
template <class T>
bool readElement(std::istream& is, T& value) {
    return static_cast<bool>(is >> value);
}

// The next character that is no white space, or EOF.
inline int nextCharacter(std::istream& is) {
    int c = is.get();
    while (is && std::isspace(c)) c = is.get();
    return c;
}

// Collects elements, in steps that grow with their number, so that long input takes linear time.
template <class Vec>
class Collector {
  public:
    bool read(std::istream& is) {
        typename Vec::value_type value;
        if (!readElement(is, value)) return false;
        if (count_ == values_.length()) values_.resize(count_ + std::max(kStep, count_ / 2));
        elementAt(values_, count_++) = value;
        return true;
    }
    bool isFull() const { return count_ > kMost; }

    // Other views of v keep their elements, unless v has this length already.
    void giveTo(Vec& v) {
        values_.resize(count_);
        if (v.length() == count_)
            v = values_;
        else
            v.reference(values_);
    }

  private:
    static constexpr unsigned kStep = 128;
    static constexpr unsigned kMost = std::numeric_limits<unsigned>::max() / 2;
    Vec values_;
    unsigned count_ = 0;
};

template <class Vec>
void readAll(std::istream& is, Collector<Vec>& elements) {
    int c = nextCharacter(is);
    if (c == '[') {
        for (c = nextCharacter(is); is && c != ']' && !elements.isFull(); c = nextCharacter(is)) {
            is.unget();
            elements.read(is);
        }
    } else {
        // At the end of the input there is nothing to put back, and trying would clear its mark.
        if (is) is.unget();
        while (!elements.isFull() && elements.read(is)) {
        }
    }
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::scanFrom(std::istream& is) {
    Collector<Vec> elements;
    try {
        readAll(is, elements);
    } catch (...) {
        elements.giveTo(self());
        throw;
    }
    elements.giveTo(self());
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::printOn(std::ostream& os) const {
    if (numberPerLine < 1) numberPerLine = 5;
    const auto perLine = static_cast<unsigned>(numberPerLine);
    os << (perLine < length_ ? "[\n" : "[ ");
    for (unsigned i = 0; i < length_; ++i) {
        if (i > 0) os << (i % perLine != 0 ? " " : "\n");
        writeElement(os, elementAt(*this, i));
    }
    os << (perLine >= length_ ? " ]" : "\n]");
}

template <class T, class Vec, class Pick>
int VecBody<T, Vec, Pick>::setFormatting(int count) {
    const int previous = numberPerLine;
    numberPerLine = count;
    return previous;
}

}  // namespace kelvo::linalg
