// What the fuzz targets share. A target is one file that defines LLVMFuzzerTestOneInput: whatever
// the bytes are, the calls it makes do no harm and keep the rules that it checks. Built with
// KELVO_FUZZ it searches for bytes that do not (tools/fuzz); else it goes through the kept inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kelvo::fuzz {

/// Cuts the bytes of a run into arguments.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size);

    bool isEmpty() const { return next_ == size_; }
    /// The next byte; 0 at the end.
    unsigned byte();
    /// The text up to the next zero byte, which is dropped, or up to the end.
    std::string text();

  private:
    const char* bytes_;
    std::size_t size_;
    std::size_t next_ = 0;
};

/// Ends the run, so that the input is kept, unless the rule holds.
void require(bool rule, const char* what);

/// A block of exactly this size at the start of which `text` stands, so that the sanitizer sees the
/// first byte beyond it.
std::unique_ptr<char[]> blockWith(const std::string& text, std::size_t size);

/// A text with its terminator in a block of its own.
std::unique_ptr<char[]> writable(const std::string& text);

/// `text` with '/' for every backslash.
std::string slashed(std::string text);

}  // namespace kelvo::fuzz
