#include "readers.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace kelvo::fit {
namespace {

Vec3 pointOf(const TextFile& file, const std::vector<Word>& words, std::size_t first) {
    return {file.number(words[first]), file.number(words[first + 1]),
            file.number(words[first + 2])};
}

void expectWords(const TextFile& file, std::size_t least, std::size_t most, const char* what) {
    const std::vector<Word>& words = file.words();
    if (words.size() > most) file.fail(words[most], "more values than " + std::string(what));
    if (words.size() < least)
        file.failLine("expected " + std::string(what) + ", found only " +
                      std::to_string(words.size()) + (words.size() == 1 ? " word" : " words"));
}

}  // namespace

InputKind inputKind(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".patches") return InputKind::kPatches;
    if (ending == ".xyz") return InputKind::kXyz;
    if (ending == ".obj") return InputKind::kObj;
    if (ending == ".ply") return InputKind::kPly;
    failAt({path}, "unknown kind of file; the name must end in .patches, .xyz, .obj or .ply");
}

std::vector<Vec3> readXyz(TextFile& file) {
    std::vector<Vec3> points;
    while (file.nextLine('#')) {
        if (file.words().empty()) continue;
        expectWords(file, 3, 3, "the three numbers of a point");
        points.push_back(pointOf(file, file.words(), 0));
    }
    return points;
}

std::vector<Vec3> readObj(TextFile& file) {
    std::vector<Vec3> points;
    while (file.nextLine('#')) {
        const std::vector<Word>& words = file.words();
        if (words.empty() || words[0].text != "v") continue;
        expectWords(file, 4, 8, "v x y z with a weight or a colour");
        for (std::size_t k = 4; k < words.size(); ++k) file.number(words[k]);
        points.push_back(pointOf(file, words, 1));
    }
    return points;
}

PatchModel readPatches(TextFile& file) {
    PatchModel model;
    std::vector<std::array<Word, 16>> named;  // a patch may stand before its points
    while (file.nextLine('#')) {
        const std::vector<Word>& words = file.words();
        if (words.empty()) continue;
        if (words[0].text == "v") {
            expectWords(file, 4, 4, "v x y z");
            model.points.push_back(pointOf(file, words, 1));
        } else if (words[0].text == "p") {
            expectWords(file, 17, 17, "p and the numbers of 16 control points");
            std::copy(words.begin() + 1, words.end(), named.emplace_back().begin());
        } else {
            file.fail(words[0], quoted(words[0].text) + " is neither v (point) nor p (patch)");
        }
    }
    for (const auto& names : named) {
        auto& patch = model.patches.add({});
        for (std::size_t k = 0; k < 16; ++k)
            patch[k] = file.index(names[k], model.points.size(), "control point");
    }
    if (model.patches.empty()) file.failFile("holds no patches (lines that start with p)");
    return model;
}

std::vector<Vec3> readPoints(InputKind kind, TextFile& file) {
    switch (kind) {
        case InputKind::kObj:
            return readObj(file);
        case InputKind::kPly:
            return readPly(file);
        default:
            return readXyz(file);
    }
}

}  // namespace kelvo::fit
