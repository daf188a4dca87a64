#include <sys/random.h>
#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>

#include "Base/zo_os_path.h"

namespace zoOS {
namespace {

constexpr char kTail[] = "XXXXXX";
constexpr std::size_t kLetters = sizeof kTail - 1;
constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";

std::uint64_t randomNumber() {
    std::uint64_t number;
    if (getrandom(&number, sizeof number, 0) == sizeof number) return number;
    std::random_device device;
    return (std::uint64_t{device()} << 32) | device();
}

}  // namespace

bool makeUniqueName(char* name) {
    const std::size_t length = name != nullptr ? std::strlen(name) : 0;
    if (length < kLetters || std::strcmp(name + length - kLetters, kTail) != 0) return false;
    struct stat status;
    do {
        std::uint64_t number = randomNumber();
        for (std::size_t i = length - kLetters; i < length; ++i) {
            name[i] = kAlphabet[number % (sizeof kAlphabet - 1)];
            number /= sizeof kAlphabet - 1;
        }
    } while (lstat(nativePath(name).c_str(), &status) == 0);
    return true;
}

}  // namespace zoOS
