// Wavefront OBJ texts (declared in mesh.h).
#include "mesh.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

void appendPoint(std::string& text, const char* key, const Vec3& p) {
    text += key;
    for (int k = 0; k < 3; ++k) {
        text += ' ';
        appendNumber(text, p[k]);
    }
    text += '\n';
}

/// The corners of a quad without those that coincide with the one before.
std::vector<int> distinctCorners(const Mesh& mesh, const Quad& quad, double least) {
    std::vector<int> corners;
    const auto far = [&](int a, int b) {
        return length(mesh.vertices[static_cast<std::size_t>(a)] -
                      mesh.vertices[static_cast<std::size_t>(b)]) > least;
    };
    for (int c : quad.corner)
        if (corners.empty() || far(c, corners.back())) corners.push_back(c);
    while (corners.size() > 1 && !far(corners.front(), corners.back())) corners.pop_back();
    return corners;
}

void appendFaces(std::string& text, const Mesh& mesh, bool filled, double least) {
    bool first = true;
    for (const Quad& quad : mesh.quads) {
        if (quad.filled != filled) continue;
        const std::vector<int> corners = distinctCorners(mesh, quad, least);
        if (corners.size() < 3) continue;
        if (first) text += filled ? "g filled\n" : "g surface\n";
        first = false;
        text += 'f';
        for (int c : corners) {
            const std::string number = std::to_string(c + 1);
            text += " " + number + "//" + number;
        }
        text += '\n';
    }
}

/// A comment must not end early.
std::string comment(const std::string& title) {
    std::string text = "# " + validUtf8(title);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20) c = '?';
    return text + '\n';
}

}  // namespace

std::string meshObj(const Mesh& mesh, const std::string& title) {
    constexpr double kSamePoint = 1e-12;
    std::string text = comment(title);
    for (const Vec3& p : mesh.vertices) appendPoint(text, "v", p);
    for (const Vec3& n : mesh.normals) {
        text += "vn";
        for (int k = 0; k < 3; ++k) {
            text += ' ';
            appendRounded(text, n[k], 7);
        }
        text += '\n';
    }
    const double least = kSamePoint * boxOf(mesh.vertices).diagonal();
    appendFaces(text, mesh, false, least);
    appendFaces(text, mesh, true, least);
    return text;
}

std::string netObj(const FitResult& result, const std::string& title) {
    std::string text = comment(title);
    int base = 1;
    for (std::size_t k = 0; k < result.surfaces.size(); ++k) {
        const SplineSurface& surface = result.surfaces[k];
        const int rows = surface.u().size(), columns = surface.v().size();
        text += "o net" + std::to_string(k) + "\n";
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < columns; ++j) appendPoint(text, "v", surface.control(i, j));
        const auto line = [&](int start, int step, int count) {
            text += 'l';
            for (int n = 0; n < count; ++n) text += " " + std::to_string(base + start + n * step);
            text += '\n';
        };
        for (int i = 0; i < rows; ++i) line(i * columns, 1, columns);
        for (int j = 0; j < columns; ++j) line(j, columns, rows);
        base += rows * columns;
    }
    return text;
}

}  // namespace kelvo::fit
