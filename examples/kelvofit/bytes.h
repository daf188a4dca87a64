// Values as the bytes that they are in memory, for files that stay on this machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kelvo::fit {

/// What may be copied byte by byte.
template <class T>
concept Plain = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>;

class ByteWriter {
  public:
    template <Plain T>
    void put(const T& value) {
        bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    /// The count, then the values.
    template <Plain T>
    void putAll(const std::vector<T>& values) {
        put<std::uint64_t>(values.size());
        bytes_.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
    }
    void putText(std::string_view text) {
        put<std::uint64_t>(text.size());
        bytes_ += text;
    }

    const std::string& bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

/// Takes them off again. From the first value on that the bytes do not hold everything is 0 or
/// empty, and isWhole() false.
class ByteReader {
  public:
    explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

    template <Plain T>
    T get() {
        T value{};
        if (const char* from = take(1, sizeof value)) std::memcpy(&value, from, sizeof value);
        return value;
    }
    template <Plain T>
    std::vector<T> getAll() {
        const auto count = get<std::uint64_t>();
        const char* from = take(count, sizeof(T));
        std::vector<T> values(from != nullptr ? static_cast<std::size_t>(count) : 0);
        if (!values.empty()) std::memcpy(values.data(), from, values.size() * sizeof(T));
        return values;
    }
    std::string_view getText() {
        const auto count = get<std::uint64_t>();
        const char* from = take(count, 1);
        return from != nullptr ? std::string_view(from, static_cast<std::size_t>(count))
                               : std::string_view();
    }

    /// Whether all was there, and nothing is left.
    bool isWhole() const { return sound_ && bytes_.empty(); }
    /// Whether all was there so far.
    bool isSound() const { return sound_; }

  private:
    // Null when there is less; no product overflows.
    const char* take(std::uint64_t count, std::size_t size) {
        sound_ = sound_ && count <= bytes_.size() / size;
        if (!sound_) return nullptr;
        const char* from = bytes_.data();
        bytes_.remove_prefix(static_cast<std::size_t>(count) * size);
        return from;
    }

    std::string_view bytes_;
    bool sound_ = true;
};

}  // namespace kelvo::fit
