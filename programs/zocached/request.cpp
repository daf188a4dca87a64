#include "programs/zocached/request.h"

#include <cstring>
#include <iterator>

namespace kelvo::zocached {
namespace {

constexpr std::size_t kInt = 4, kInt64 = 8;

// What follows the opcode: so many texts, then so many bytes.
struct Shape {
    int texts;
    std::size_t rest;
};
constexpr Shape kShapes[] = {
    {1, kInt + kInt64},  // initialize: directory, most entries, most bytes
    {1, 0},              // acquire: key
    {2, 0},              // add: key, path
    {1, kInt},           // release: key, whether to remove
    {1, 0},              // setAccessed: key
};

std::int32_t intAt(std::string_view bytes, std::size_t place) {
    std::int32_t value;
    std::memcpy(&value, bytes.data() + place, sizeof value);
    return value;
}

}  // namespace

Frame frameOf(std::string_view bytes) {
    Frame frame;
    if (bytes.size() < kInt) return frame;
    frame.opcode = intAt(bytes, 0);
    std::size_t end = kInt;
    if (frame.opcode < 0 || frame.opcode >= static_cast<std::int32_t>(std::size(kShapes))) {
        frame.kind = Frame::kUnknown;
        frame.size = end;
        return frame;
    }
    const Shape& shape = kShapes[frame.opcode];
    for (int text = 0; text < shape.texts; ++text) {
        if (bytes.size() < end + kInt) return frame;
        const std::int32_t length = intAt(bytes, end);
        if (length < 0 || static_cast<std::size_t>(length) > kLongestText) {
            frame.kind = Frame::kMalformed;
            return frame;
        }
        end += kInt + static_cast<std::size_t>(length);
        if (bytes.size() < end) return frame;
    }
    end += shape.rest;
    if (bytes.size() < end) return frame;
    frame.kind = Frame::kWhole;
    frame.size = end;
    return frame;
}

}  // namespace kelvo::zocached
