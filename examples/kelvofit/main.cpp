// kelvofit: fits smooth spline surfaces to points and shows how well they fit.
#include <Base/rpt.h>
#include <KelvoBase/base_reporter.h>
#include <KelvoBase/modelling_tolerances.h>

#include <chrono>
#include <cstdio>
#include <exception>

#include "debug_log.h"
#include "failure.h"
#include "fit_cache.h"
#include "fit_key.h"
#include "kept_fit.h"
#include "mesh.h"
#include "options.h"
#include "patch_fit.h"
#include "picture.h"
#include "places.h"
#include "platform.h"
#include "report.h"
#include "result_files.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

constexpr std::size_t kLeastPoints = 16;
constexpr double kDefaultTolerance = 1e-3;  // to the diagonal

/// Seconds since the last call, by stage.
class Clock {
  public:
    void lap(const char* stage) {
        const auto now = std::chrono::steady_clock::now();
        laps_.emplace_back(stage, std::chrono::duration<double>(now - last_).count());
        last_ = now;
    }
    const Timings& laps() const { return laps_; }

  private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
    Timings laps_;
};

class Run {
  public:
    Run(const Options& options, Places& places, const DebugLog& log)
        : options_(options),
          places_(places),
          log_(log),
          cache_(options),
          reporter_("kelvofit", options.quiet ? 0 : 1) {}

    void operator()();

  private:
    void fitKnown(TextFile& file);
    void fitScattered(TextFile& file);
    void refineScattered(const std::vector<Vec3>& points);
    bool isKept(const std::string& key, const std::function<bool(std::string_view)>& use);
    void keep(const std::string& key, const std::string& content);
    void showStep(int step, int most, double u, double v, double largest) const;
    bool wantsToStop() const { return interrupted() || reporter_.quit() != 0; }
    void setTolerance();
    void edit();
    void writeTurntable(const Picture& picture, ResultFiles& files) const;
    void write();
    void summarise() const;

    void lap(const char* stage);

    const Options& options_;
    Places& places_;
    const DebugLog& log_;
    FitCache cache_;
    TbaseReporter reporter_;
    std::optional<EditScript> script_;
    FitResult result_;
    Clock clock_;
};

void Run::lap(const char* stage) {
    clock_.lap(stage);
    log_.stage(std::string(stage) + ": " + rounded(clock_.laps().back().second, 3) + " s");
}

void Run::setTolerance() {
    result_.tolerance =
        options_.tolerance > 0 ? options_.tolerance : kDefaultTolerance * result_.box.diagonal();
}

void Run::showStep(int step, int most, double u, double v, double largest) const {
    reporter_.toleranceReport(step, most, u, v, largest / result_.tolerance);
}

// Whether the fit is in the cache, and of use.
bool Run::isKept(const std::string& key, const std::function<bool(std::string_view)>& use) {
    if (!cache_.isOn()) return false;
    result_.kept = cache_.find(key, use);
    if (result_.kept) log_.stage("fit from the cache, " + key);
    lap("cache");
    return result_.kept;
}

// A fit that the user has stopped is not what the next run would find.
void Run::keep(const std::string& key, const std::string& content) {
    if (result_.stopped || !cache_.isOn()) return;
    cache_.add(key, content);
    lap("keep");
}

void Run::fitKnown(TextFile& file) {
    const PatchModel model = readPatches(file);
    result_.box = boxOf(model.points);
    checkSize(result_.box.diagonal(), options_.input);
    setTolerance();
    lap("read");
    Noise noise(options_.noise, options_.seed);
    const std::string key = cache_.isOn() ? keyOf(model, options_) : std::string();
    if (isKept(key, [&](std::string_view content) {
            return unpackPatches(content, model.patches.size(), result_);
        }))
        return samplePatches(model, options_.samples, noise, result_);
    log_.stage("fitting");
    const int count = static_cast<int>(model.patches.size());
    fitPatches(model, options_.samples, noise, result_,
               [&](const FitResult& sofar, const PatchResult& patch) {
                   const int done = static_cast<int>(sofar.surfaces.size());
                   showStep(done, count, 0, 0, patch.controlError);
                   return wantsToStop();
               });
    log_.patches(*result_.patches);
    lap("fit");
    keep(key, packedPatches(result_));
}

void Run::fitScattered(TextFile& file) {
    std::vector<Vec3> points = readPoints(result_.kind, file);
    if (points.size() < kLeastPoints)
        file.failFile("holds " + std::to_string(points.size()) + " points, at least " +
                      std::to_string(kLeastPoints) + " are needed");
    Noise noise(options_.noise, options_.seed);
    for (Vec3& p : points) p = noise.blur(p);
    result_.box = boxOf(points);
    setTolerance();
    lap("read");
    CloudResult& scattered = result_.scattered.emplace();
    const std::string key =
        cache_.isOn() ? keyOf(points, result_.tolerance, options_) : std::string();
    if (!isKept(key,
                [&](std::string_view content) { return unpack(content, points, scattered); })) {
        refineScattered(points);
        keep(key, packed(scattered));
    }
    result_.surfaces.push_back(scattered.refinement.best.surface);
    for (const CloudPoint& p : scattered.cloud.points)
        result_.points.push_back({p.at, 0, p.u, p.v});
}

void Run::refineScattered(const std::vector<Vec3>& points) {
    CloudResult& scattered = *result_.scattered;
    scattered = {};
    scattered.cloud = cloudOf(points, options_.axis, options_.input);
    const Neighbours neighbours(scattered.cloud);
    scattered.filledBeyond = 2 * neighbours.spacing();
    scattered.folds = findFolds(scattered.cloud);
    lap("parametrise");
    log_.stage("fitting");
    const RefineSettings settings{
        result_.tolerance, options_.maxSpans, [this] { return wantsToStop(); },
        options_.scratch ? Memory::kScratch : Memory::kHeap, options_.method};
    scattered.refinement = refine(scattered.cloud, settings, [&](int step, const SplineFit& fit) {
        const Deviation& d = fit.deviation;
        showStep(step, mostSteps(options_.maxSpans), d.u, d.v, d.largest);
        log_.step(step, fit);
    });
    result_.stopped = scattered.refinement.reason == StopReason::kUser;
    lap("fit");
}

void Run::edit() {
    if (!script_) return;
    result_.edits = applyEdits(*script_, upOf(result_, options_.up != 0), result_.surfaces);
    log_.stage("edited");
    log_.edits(*result_.edits);
    lap("edit");
}

void Run::writeTurntable(const Picture& picture, ResultFiles& files) const {
    if (options_.turntable == 0) return;
    int number = 0;
    for (const Camera& camera : picture.cameras(options_.turntable)) {
        const std::string path = places_.frame(++number);
        files.add(path, picture.svg(camera));
        // One with another width of its number would be found instead.
        const std::string old = places_.oldFrame(number);
        if (!old.empty() && old != path) files.drop(old);
    }
    // Longer sequences of earlier runs would go on with another surface.
    for (std::string old; !(old = places_.oldFrame(++number)).empty();) files.drop(old);
}

void Run::write() {
    const std::string title = "kelvofit, fitted to " + options_.input;
    const bool patches = result_.patches.has_value();
    const FitResult placed = placedCopy(result_, options_.placement);
    const Mesh mesh = patches ? meshOf(placed, 12, 12, 12) : meshOf(placed, 4, 40, 160);
    lap("mesh");
    ResultFiles files;
    files.add(places_.result("surface.obj"), meshObj(mesh, title));
    files.add(places_.result("net.obj"), netObj(placed, title));
    lap("write");
    const Picture picture(placed, options_);
    files.add(places_.result("fit.svg"), picture.svg(picture.cameras(1).front()));
    writeTurntable(picture, files);
    lap("picture");
    files.add(places_.result("report.json"), reportJson(result_, options_, clock_.laps()));
    files.commit();
    places_.keep();
    log_.stage("results in " + places_.shown() + ", " + statusText(result_));
}

// What the user needs to know even when the progress is off: points that no surface can follow.
// The rest is the last word of the progress.
void Run::summarise() const {
    if (result_.scattered && result_.scattered->folds.found()) {
        const Folds& folds = result_.scattered->folds;
        rptUser(
            "kelvofit: %s: warning: the points fold over the plane: %.1f%% of them "
            "have others up to %s above or below; the surface runs between\n",
            options_.input.c_str(), 100 * folds.share, rounded(folds.height, 3).c_str());
    }
    if (result_.edits) std::fputs(result_.edits->listing.c_str(), stdout);
    if (options_.quiet) return;
    std::printf("%s: %zu points, largest deviation %s, RMS %s, %s\n", options_.input.c_str(),
                result_.points.size(), rounded(result_.atParameter.largest, 3).c_str(),
                rounded(result_.atParameter.rms, 3).c_str(), statusText(result_));
    if (result_.patches)
        std::printf("largest control point error %s over %zu patches\n",
                    rounded(result_.patches->controlError, 3).c_str(),
                    result_.patches->patches.size());
    if (result_.kept) std::printf("the fit is from the cache\n");
    std::printf("results in %s\n", places_.shown().c_str());
}

void Run::operator()() {
    if (options_.up != 0) va_coordinate_system = options_.up == 'y' ? 1 : 0;
    if (!options_.edit.empty()) script_ = EditScript::read(places_.script());
    result_.kind = inputKind(options_.input);
    TextFile file = TextFile::read(places_.input());
    if (result_.kind == InputKind::kPatches)
        fitKnown(file);
    else
        fitScattered(file);
    edit();
    measure(result_);
    lap("measure");
    write();
    summarise();
}

void runLogged(const Options& options) {
    Places places(options);
    places.check();
    const DebugLog log(options, {places.input(), places.script()});
    try {
        Run run(options, places, log);
        run();
    } catch (const std::exception& failure) {
        log.stage(std::string("failed: ") + failure.what());
        throw;
    }
}

int runProgram(int argc, char** argv) {
    std::string failed;
    try {
        const Options options = parseOptions(argc, argv);
        if (options.done) return 0;
        watchInterrupt();
        runLogged(options);
        return 0;
    } catch (const std::bad_alloc&) {
        failed = "not enough memory";
    } catch (const std::exception& failure) {
        failed = failure.what();
    }
    // Through the reports, which know whether a status line is in the way.
    rptError("kelvofit: %s\n", failed.c_str());
    return 2;
}

}  // namespace
}  // namespace kelvo::fit

int main(int argc, char** argv) {
    return kelvo::fit::runProgram(argc, argv);
}
