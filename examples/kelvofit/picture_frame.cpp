// Title, colour scale and figures of the picture (declared in picture.h).
#include <filesystem>

#include "picture.h"
#include "report.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

constexpr char kInk[] = "#1c2733", kGrey[] = "#66727f";
constexpr double kScaleX = 1000, kScaleTop = 176, kScaleHeight = 300, kScaleWidth = 20;

std::string text(double x, double y, int size, const char* colour, const std::string& content,
                 const char* more = "") {
    return "<text x=\"" + rounded(x, 6) + "\" y=\"" + rounded(y, 6) + "\" font-size=\"" +
           std::to_string(size) + "\" fill=\"" + colour + "\"" + more + ">" + xmlText(content) +
           "</text>\n";
}

/// Digits above the line: 10 to a power.
std::string powerOfTen(int exponent) {
    constexpr const char* kDigits[] = {"\u2070", "\u00b9", "\u00b2", "\u00b3", "\u2074",
                                       "\u2075", "\u2076", "\u2077", "\u2078", "\u2079"};
    std::string power = exponent < 0 ? "10\u207b" : "10";
    for (char c : std::to_string(std::abs(exponent))) power += kDigits[c - '0'];
    return power;
}

/// A figure for people: "0.0123", "4.5·10⁻¹⁵".
std::string figure(double value) {
    if (value == 0 || !std::isfinite(value)) return rounded(value, 3);
    const int exponent = static_cast<int>(std::floor(std::log10(std::abs(value))));
    if (exponent >= -4 && exponent < 6) return rounded(value, 3);
    return rounded(value / std::pow(10.0, exponent), 3) + "\u00b7" + powerOfTen(exponent);
}

/// The file's name without its directory, cut to what fits into the title line.
std::string titleOf(const Options& options) {
    constexpr std::size_t kMost = 44;
    const std::string name = validUtf8(std::filesystem::path(options.input).filename().string());
    std::size_t characters = 0;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if ((static_cast<unsigned char>(name[at]) & 0xC0) == 0x80) continue;
        if (characters++ == kMost) return name.substr(0, at) + "\u2026";
    }
    return name;
}

std::string subtitleOf(const FitResult& result) {
    std::string line;
    if (result.patches) {
        line = grouped(result.surfaces.size()) + " Bezier patches fitted to " +
               grouped(result.points.size()) + " sampled points";
    } else {
        const SplineSurface& s = result.surfaces.front();
        line = "cubic B-spline surface of " + std::to_string(s.u().spans()) + " \u00d7 " +
               std::to_string(s.v().spans()) + " spans, fitted to " +
               grouped(result.points.size()) + " points";
    }
    const bool edited = result.edits && result.edits->largestMove > 0;
    return line + " \u2014 " + (edited ? "edited after the fit" : statusText(result));
}

std::string scaleSvg(const FitResult& result, const Options& options, const DeviationScale& scale) {
    const double power = std::pow(10.0, scale.exponent);
    const auto height = [&](double value) {
        return kScaleTop + kScaleHeight * (1 - value / scale.top);
    };
    std::string svg = "<defs><linearGradient id=\"scale\" x1=\"0\" y1=\"1\" x2=\"0\" y2=\"0\">";
    for (int k = 0; k <= 10; ++k)
        svg += "<stop offset=\"" + rounded(k / 10.0, 2) + "\" stop-color=\"" +
               hexColour(scaleColour(k / 10.0)) + "\"/>";
    svg += "</linearGradient></defs>\n";
    const std::string unit = options.unit.empty() ? "units of the input" : options.unit;
    svg +=
        text(kScaleX, kScaleTop - 42, 15, kInk, "Deviation of the points", " font-weight=\"600\"");
    svg += text(kScaleX, kScaleTop - 22, 13, kGrey,
                (scale.exponent == 0 ? "in " : "in " + powerOfTen(scale.exponent) + " ") + unit);
    svg += "<rect x=\"" + rounded(kScaleX, 6) + "\" y=\"" + rounded(kScaleTop, 6) + "\" width=\"" +
           rounded(kScaleWidth, 6) + "\" height=\"" + rounded(kScaleHeight, 6) +
           "\" rx=\"3\" fill=\"url(#scale)\"/>\n";
    const auto tick = [&](double value, const std::string& label, const char* colour) {
        const double y = height(value);
        svg += "<path d=\"M" + rounded(kScaleX + kScaleWidth, 6) + " " + rounded(y, 6) +
               "h6\" stroke=\"" + colour + "\" fill=\"none\"/>\n";
        svg += text(kScaleX + kScaleWidth + 12, y + 4.5, 13, colour, label);
    };
    const int ticks = static_cast<int>(std::lround(scale.top / scale.step));
    for (int k = 0; k <= ticks; ++k) tick(k * scale.step, rounded(k * scale.step / power, 6), kInk);
    // Nearer to 0 the mark would cover the first tick.
    if (result.tolerance < scale.top && result.tolerance > 0.03 * scale.top) {
        const double y = height(result.tolerance);
        svg += "<path d=\"M" + rounded(kScaleX - 6, 6) + " " + rounded(y, 6) + "h" +
               rounded(kScaleWidth + 12, 6) + "\" stroke=\"" + kInk +
               "\" stroke-width=\"1.6\" fill=\"none\"/>\n";
        svg += text(kScaleX + kScaleWidth + 62, y + 4.5, 13, kInk, "tolerance");
    }
    return svg;
}

using Row = std::pair<std::string, std::string>;

std::vector<Row> figuresOf(const FitResult& result, const Options& options) {
    const std::string unit = options.unit.empty() ? "" : " " + options.unit;
    std::vector<Row> rows;
    rows.emplace_back("Largest deviation", figure(result.atParameter.largest) + unit);
    rows.emplace_back("RMS deviation", figure(result.atParameter.rms) + unit);
    rows.emplace_back("Tolerance", figure(result.tolerance) + unit);
    if (result.patches)
        rows.emplace_back("Control points", figure(result.patches->controlError) + unit);
    if (options.noise > 0) rows.emplace_back("Noise added", figure(options.noise) + unit);
    if (result.scattered) {
        const SplineFit& best = result.scattered->refinement.best;
        rows.emplace_back("Rank", grouped(static_cast<std::size_t>(best.rank)));
        rows.emplace_back("Free columns", grouped(static_cast<std::size_t>(best.freeColumns)));
    }
    rows.emplace_back("Diagonal", figure(result.box.diagonal()) + unit);
    return rows;
}

}  // namespace

DeviationScale scaleFor(double largest) {
    constexpr double kTicks = 5;
    DeviationScale scale;
    if (!(largest > 0) || !std::isfinite(largest)) return scale;
    const double raw = largest / kTicks;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    if (!(power > 0)) return scale;
    const double mantissa = raw / power;
    scale.step = power * (mantissa <= 1 ? 1 : mantissa <= 2 ? 2 : mantissa <= 5 ? 5 : 10);
    scale.top = scale.step * std::ceil(largest / scale.step * (1 - 1e-12));
    const int exponent = static_cast<int>(std::floor(std::log10(scale.top)));
    if (exponent < -3 || exponent > 4) scale.exponent = exponent;
    return scale;
}

std::string frameSvg(const FitResult& result, const Options& options, const DeviationScale& scale,
                     std::size_t pointsShown) {
    std::string svg = text(48, 66, 30, kInk, titleOf(options), " font-weight=\"700\"");
    svg += text(48, 94, 16, kGrey, subtitleOf(result));
    svg += scaleSvg(result, options, scale);
    double y = kScaleTop + kScaleHeight + 62;
    for (const auto& [label, value] : figuresOf(result, options)) {
        svg += text(kScaleX, y, 13, kGrey, label);
        svg += text(kPictureWidth - 48.0, y, 14, kInk, value,
                    " text-anchor=\"end\" font-weight=\"600\"");
        y += 25;
    }
    std::vector<std::string> notes;
    if (pointsShown < result.points.size())
        notes.push_back(grouped(pointsShown) + " of " + grouped(result.points.size()) +
                        " points shown, the worst among them");
    if (result.scattered && result.scattered->refinement.best.weakColumns > 0)
        notes.push_back("Sand-coloured: no points there, filled in smoothly");
    if (result.scattered && result.scattered->folds.found())
        notes.push_back(
            "Warning: the points fold over the plane; the surface runs between the sheets");
    for (std::size_t k = 0; k < notes.size(); ++k)
        svg += text(48, kPictureHeight - 28 - 20.0 * static_cast<double>(notes.size() - 1 - k), 13,
                    kGrey, notes[k]);
    return svg;
}

}  // namespace kelvo::fit
