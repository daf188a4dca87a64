// Where a request ends in the bytes that have arrived, before anything of it is acted on: a pure
// function, so that no input can do more here than waste its own time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvo::zocached {

enum Opcode : std::int32_t { kInitialize, kAcquire, kAdd, kRelease, kSetAccessed };

/// Longest text inside a request, in bytes. Keys and paths may have less (kLongestPath): a text in
/// between is refused, and the connection lives on.
constexpr std::size_t kLongestText = 64 * 1024;

struct Frame {
    enum Kind {
        kPartial,    ///< more bytes are needed
        kWhole,      ///< a request of `size` bytes
        kUnknown,    ///< no request: `size` bytes (an opcode) to be dropped without a reply
        kMalformed,  ///< a length that cannot be: the stream is lost
    };

    Kind kind = kPartial;
    std::int32_t opcode = 0;  ///< of kWhole and kUnknown
    std::size_t size = 0;
};

/// The request at the beginning of `bytes`.
Frame frameOf(std::string_view bytes);

}  // namespace kelvo::zocached
