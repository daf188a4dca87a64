// A strict JSON reader, as small as it can be.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kelvo::test {

struct Json {
    enum Kind { kNull, kFalse, kTrue, kNumber, kString, kArray, kObject } kind = kNull;
    double number = 0;
    std::string string;
    std::vector<Json> items;
    std::map<std::string, Json> members;

    /// Throws std::runtime_error with the position for anything that RFC 8259 does not allow, and
    /// for repeated keys and bytes that are no UTF-8.
    static Json parse(const std::string& text);
    bool operator==(const Json&) const = default;
    /// The member of an object; throws std::out_of_range when there is none.
    const Json& operator[](const std::string& key) const { return members.at(key); }
};

}  // namespace kelvo::test
