#include "report.h"

#include <KelvoBase/modelling_tolerances.h>

#include <concepts>

#include "text_output.h"

namespace kelvo::fit {
namespace {

/// Writes JSON with two blanks of indentation. Arrays stay on one line unless they hold objects.
class Json {
  public:
    void open(const char* key = nullptr) { begin(key, "{"); }
    void openList(const char* key) { begin(key, "["); }
    void close() { end('}'); }
    void closeList() { end(']'); }

    void add(const char* key, const std::string& value) { item(key, jsonString(value)); }
    void add(const char* key, const char* value) { item(key, jsonString(value)); }
    template <std::integral T>
    void add(const char* key, T value) {
        if constexpr (std::same_as<T, bool>)
            item(key, value ? "true" : "false");
        else
            item(key, std::to_string(value));
    }
    void add(const char* key, double value) { item(key, number(value)); }
    void add(const char* key, const Vec3& p) { addAll(key, {p.x, p.y, p.z}); }
    void addAll(const char* key, std::initializer_list<double> values) {
        std::string list;
        for (double value : values) list += (list.empty() ? "[" : ", ") + number(value);
        item(key, list + "]");
    }

    std::string text() const { return text_ + "\n"; }

  private:
    /// JSON knows no infinities and no NaN.
    static std::string number(double value) {
        if (!std::isfinite(value)) return "null";
        std::string digits;
        appendNumber(digits, value);
        return digits;
    }
    void item(const char* key, const std::string& value) {
        if (!first_) text_ += ',';
        if (depth_ > 0) text_ += "\n" + std::string(2 * depth_, ' ');
        if (key != nullptr) text_ += jsonString(key) + ": ";
        text_ += value;
        first_ = false;
    }
    void begin(const char* key, const char* bracket) {
        item(key, bracket);
        ++depth_;
        first_ = true;
    }
    void end(char bracket) {
        --depth_;
        if (!first_) text_ += "\n" + std::string(2 * depth_, ' ');
        text_ += bracket;
        first_ = false;
    }

    std::string text_;
    std::size_t depth_ = 0;
    bool first_ = true;
};

void addInput(Json& json, const FitResult& result, const Options& options) {
    constexpr const char* kKinds[] = {"patches", "xyz", "obj", "ply"};
    json.open("input");
    json.add("file", options.input);
    json.add("kind", kKinds[static_cast<int>(result.kind)]);
    json.add("points", result.points.size());
    json.add("box_low", result.box.low);
    json.add("box_high", result.box.high);
    json.add("diagonal", result.box.diagonal());
    json.add("noise", options.noise);
    if (options.noise > 0) json.add("seed", options.seed);
    if (!options.unit.empty()) json.add("unit", options.unit);
    json.close();
}

void addEdits(Json& json, const EditResult& edits, const Options& options) {
    json.open("edits");
    json.add("script", options.edit);
    json.add("largest_move", edits.largestMove);
    json.add("at_mark", edits.atMark);
    json.openList("history");
    for (const EditStep& step : edits.history) {
        json.open();
        json.add("name", step.name);
        json.add("line", step.line);
        json.add("done", step.done);
        json.close();
    }
    json.closeList();
    json.close();
}

void addPlacement(Json& json, const Options& options) {
    const Placement& placement = options.placement;
    json.open("placement");
    json.add("up", VL_zIsUp() != 0 ? "z" : "y");
    json.add("rotate", placement.rotate);
    json.add("scale", placement.scale);
    json.add("move", placement.move);
    json.add("pivot", placement.pivot);
    const T4dDblMatrix m = matrixOf(placement);
    json.openList("matrix");
    for (unsigned i = 0; i < 4; ++i) json.addAll(nullptr, {m[i][0], m[i][1], m[i][2], m[i][3]});
    json.closeList();
    json.add("turntable", options.turntable);
    json.close();
}

void addProject(Json& json, const Options& options) {
    json.open("project");
    json.add("directory", options.project);
    json.add("name", options.name);
    json.close();
}

void addSpread(Json& json, const char* key, const FitResult& result, const Spread& spread) {
    json.open(key);
    json.add("largest", spread.largest);
    json.add("rms", spread.rms);
    json.add("worst_point", result.points[spread.worst].at);
    json.close();
}

void addScattered(Json& json, const CloudResult& scattered) {
    const Refinement& r = scattered.refinement;
    json.open("fit");
    json.add("u_spans", r.best.surface.u().spans());
    json.add("v_spans", r.best.surface.v().spans());
    json.add("coefficients", r.best.surface.u().size() * r.best.surface.v().size());
    json.add("rank", r.best.rank);
    json.add("free_columns", r.best.freeColumns);
    json.add("weak_columns", r.best.weakColumns);
    json.add("method", r.best.normalCondition > 0 ? "cholesky" : "qr");
    if (r.best.normalCondition > 0) json.add("normal_condition", 1 / r.best.normalCondition);
    json.add("noise_estimate", r.best.noise);
    json.add("fits_made", r.fits);
    json.openList("steps");
    for (const RefineStep& step : r.steps) {
        json.open();
        json.add("u_spans", step.uSpans);
        json.add("v_spans", step.vSpans);
        json.add("largest", step.largest);
        json.add("rms", step.rms);
        json.close();
    }
    json.closeList();
    json.close();
    const Frame& f = scattered.cloud.frame;
    json.open("frame");
    json.addAll("singular_values", {f.singular[0], f.singular[1], f.singular[2]});
    json.add("origin", f.origin);
    json.add("u_axis", f.uAxis);
    json.add("v_axis", f.vAxis);
    json.add("normal", f.normal);
    json.addAll("lengths", {f.uLength, f.vLength});
    json.close();
    const Folds& folds = scattered.folds;
    json.open("folds");
    json.add("found", folds.found());
    json.add("share", folds.share);
    if (folds.found()) {
        json.add("height", folds.height);
        json.add("at", folds.at);
    }
    json.close();
}

void addPatches(Json& json, const PatchesResult& patches, int samples) {
    json.open("fit");
    json.add("patches", patches.wanted);
    json.add("fitted", patches.patches.size());
    json.add("samples", samples);
    json.add("coefficients", 16 * patches.patches.size());
    int rank = 0, freeColumns = 0;
    for (const PatchResult& patch : patches.patches)
        rank += patch.rank, freeColumns += patch.freeColumns;
    json.add("rank", rank);
    json.add("free_columns", freeColumns);
    json.add("largest_control_point_error", patches.controlError);
    json.add("worst_patch", patches.patches.sorted(PatchResult::worseFirst).front()->number);
    json.openList("control_point_errors");
    for (const PatchResult& patch : patches.patches) json.add(nullptr, patch.controlError);
    json.closeList();
    json.close();
}

}  // namespace

const char* statusText(const FitResult& result) {
    if (result.stopped) return "stopped by the user";
    if (result.atParameter.largest <= result.tolerance) return "tolerance reached";
    if (!result.scattered) return "tolerance not reached";
    switch (result.scattered->refinement.reason) {
        case StopReason::kSpanLimit:
            return "span limit reached";
        case StopReason::kNoImprovement:
            return "refining no longer helps";
        default:
            return "tolerance not reached";
    }
}

std::string reportJson(const FitResult& result, const Options& options, const Timings& timings) {
    Json json;
    json.open();
    json.add("program", "kelvofit");
    json.add("version", KELVOFIT_VERSION);
    json.add("status", statusText(result));
    json.add("stopped", result.stopped);
    json.add("from_cache", result.kept);
    if (!options.project.empty()) addProject(json, options);
    addInput(json, result, options);
    if (result.scattered) addScattered(json, *result.scattered);
    if (result.patches) addPatches(json, *result.patches, options.samples);
    json.open("deviation");
    json.add("tolerance", result.tolerance);
    json.add("within_tolerance", result.atParameter.largest <= result.tolerance);
    addSpread(json, "at_parameter", result, result.atParameter);
    addSpread(json, "to_surface", result, result.toSurface);
    json.close();
    if (result.edits) addEdits(json, *result.edits, options);
    addPlacement(json, options);
    json.open("seconds");
    for (const auto& [stage, seconds] : timings) json.add(stage.c_str(), seconds);
    json.close();
    json.close();
    return json.text();
}

}  // namespace kelvo::fit
