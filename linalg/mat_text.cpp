#include "linalg/mat_text.h"

#include <istream>

namespace kelvo::linalg {
namespace {

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

}  // namespace

TextShape readShape(std::istream& is) {
    TextShape shape;
    char c = 0;
    while (is.get(c) && !isDigit(c)) {
    }
    if (!is) return shape;
    is.putback(c);
    is >> shape.rows >> std::ws;
    // The "x"; without one the second number may follow white space.
    if (is.get(c) && isDigit(c)) is.putback(c);
    is >> shape.cols;
    return shape;
}

}  // namespace kelvo::linalg
