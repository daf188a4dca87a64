// An open file.
#pragma once

#include <unistd.h>

#include <utility>

namespace kelvo::zoos {

/// Owns a file descriptor and closes it.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }

    /// What close says: some file systems report a full disk only here.
    int close() {
        const int number = release();
        return number >= 0 ? ::close(number) : 0;
    }

  private:
    int number_;
};

}  // namespace kelvo::zoos
