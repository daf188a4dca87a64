// Ascii PLY: a header that declares elements and their properties, then one line for each element.
#include <charconv>

#include "readers.h"

namespace kelvo::fit {
namespace {

struct Property {
    std::string name;
    bool isList = false;
};

struct Element {
    std::string name;
    std::size_t count = 0;
    std::vector<Property> properties;

    bool hasList() const {
        for (const Property& p : properties)
            if (p.isList) return true;
        return false;
    }
    /// The place of a property among the words of a line, or -1. Only scalars may stand before it.
    int find(std::string_view wanted) const {
        for (std::size_t k = 0; k < properties.size(); ++k) {
            if (properties[k].isList) return -1;
            if (properties[k].name == wanted) return static_cast<int>(k);
        }
        return -1;
    }
};

constexpr std::string_view kTypes[] = {"char",  "uchar",  "short",   "ushort", "int",   "uint",
                                       "float", "double", "int8",    "uint8",  "int16", "uint16",
                                       "int32", "uint32", "float32", "float64"};

void checkType(const TextFile& file, const Word& word) {
    for (std::string_view type : kTypes)
        if (word.text == type) return;
    file.fail(word, quoted(word.text) + " is no type of a property");
}

std::size_t countOf(const TextFile& file, const Word& word) {
    std::size_t count = 0;
    const char* end = word.text.data() + word.text.size();
    const auto [stop, error] = std::from_chars(word.text.data(), end, count);
    if (error != std::errc() || stop != end) file.fail(word, quoted(word.text) + " is not a count");
    return count;
}

void checkFormat(const TextFile& file) {
    const std::vector<Word>& words = file.words();
    if (words.size() < 2) file.failLine("format without its name");
    if (words[1].text != "ascii")
        file.fail(words[1], "the format is " + quoted(words[1].text) + "; only ascii can be read");
}

void addProperty(const TextFile& file, std::vector<Element>& elements) {
    const std::vector<Word>& words = file.words();
    if (elements.empty()) file.failLine("property before the first element");
    const bool list = words.size() > 1 && words[1].text == "list";
    if (words.size() != (list ? 5U : 3U)) file.failLine("property without its type or name");
    for (std::size_t k = list ? 2 : 1; k + 1 < words.size(); ++k) checkType(file, words[k]);
    elements.back().properties.push_back({std::string(words.back().text), list});
}

std::vector<Element> readHeader(TextFile& file) {
    if (!file.nextLine() || file.words().size() != 1 || file.words()[0].text != "ply")
        file.failFile("does not start with a line \"ply\"");
    std::vector<Element> elements;
    bool hasFormat = false;
    while (file.nextLine()) {
        const std::vector<Word>& words = file.words();
        if (words.empty() || words[0].text == "comment" || words[0].text == "obj_info") continue;
        if (words[0].text == "format") {
            checkFormat(file);
            hasFormat = true;
        } else if (words[0].text == "element") {
            if (words.size() != 3) file.failLine("element without its name or count");
            elements.push_back({std::string(words[1].text), countOf(file, words[2]), {}});
        } else if (words[0].text == "property") {
            addProperty(file, elements);
        } else if (words[0].text == "end_header") {
            if (!hasFormat) file.failLine("the header ends without a format");
            return elements;
        } else {
            file.fail(words[0], quoted(words[0].text) + " does not belong into a header");
        }
    }
    file.failFile("the header has no end_header");
}

/// Moves to the next line that holds something.
void nextRow(TextFile& file, const Element& element, std::size_t row) {
    do {
        if (!file.nextLine())
            file.failFile("ends after " + std::to_string(row) + " of " +
                          std::to_string(element.count) + " elements " + quoted(element.name));
    } while (file.words().empty());
}

std::vector<Vec3> readVertices(TextFile& file, const Element& element, const int (&at)[3]) {
    std::vector<Vec3> points;
    const std::size_t values = element.properties.size();
    for (std::size_t row = 0; row < element.count; ++row) {
        nextRow(file, element, row);
        const std::vector<Word>& words = file.words();
        if (words.size() < values)
            file.failLine("the vertex has only " + std::to_string(words.size()) + " of its " +
                          std::to_string(values) + " values");
        if (words.size() > values && !element.hasList())
            file.fail(words[values],
                      "the vertex has more than its " + std::to_string(values) + " values");
        double xyz[3];
        for (int k = 0; k < 3; ++k) xyz[k] = file.number(words[static_cast<std::size_t>(at[k])]);
        points.push_back({xyz[0], xyz[1], xyz[2]});
    }
    return points;
}

/// What stands behind the vertices is not used, but lines beyond all elements mean that some count is
/// wrong, and the points may not be all.
void checkRest(TextFile& file, const std::vector<Element>& elements, std::size_t next) {
    std::size_t rows = 0;
    for (; next < elements.size(); ++next)
        if (!elements[next].properties.empty()) rows += elements[next].count;
    while (file.nextLine())
        if (!file.words().empty() && rows-- == 0)
            file.failLine("the header announces fewer lines than there are");
}

}  // namespace

std::vector<Vec3> readPly(TextFile& file) {
    const std::vector<Element> elements = readHeader(file);
    for (std::size_t k = 0; k < elements.size(); ++k) {
        const Element& element = elements[k];
        if (element.name != "vertex") {
            if (element.properties.empty()) continue;  // takes no lines
            for (std::size_t row = 0; row < element.count; ++row) nextRow(file, element, row);
            continue;
        }
        const int at[3] = {element.find("x"), element.find("y"), element.find("z")};
        if (at[0] < 0 || at[1] < 0 || at[2] < 0) file.failFile("its vertices have no x, y and z");
        std::vector<Vec3> points = readVertices(file, element, at);
        checkRest(file, elements, k + 1);
        return points;
    }
    file.failFile("has no elements \"vertex\"");
}

}  // namespace kelvo::fit
