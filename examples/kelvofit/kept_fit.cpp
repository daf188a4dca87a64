#include "kept_fit.h"

#include <KelvoBase/modelling_tolerances.h>

#include "bytes.h"

namespace kelvo::fit {
namespace {

void put(ByteWriter& to, const SplineSurface& surface) {
    to.put(surface.u().spans());
    to.put(surface.v().spans());
    for (int j = 0; j < surface.v().size(); ++j)
        for (int i = 0; i < surface.u().size(); ++i) to.put(surface.control(i, j));
}

bool get(ByteReader& from, SplineSurface& surface) {
    const int u = from.get<int>(), v = from.get<int>(), most = get_max_surf_spans();
    if (std::min(u, v) < 1 || std::max(u, v) > most) return false;
    surface = SplineSurface(u, v);
    for (int j = 0; j < surface.v().size(); ++j)
        for (int i = 0; i < surface.u().size(); ++i) surface.setControl(i, j, from.get<Vec3>());
    return from.isSound();
}

void put(ByteWriter& to, const SplineFit& fit) {
    put(to, fit.surface);
    for (int figure : {fit.rank, fit.freeColumns, fit.weakColumns}) to.put(figure);
    to.put(fit.deviation);
    to.put(fit.normalCondition);
    to.put(fit.noise);
}

bool get(ByteReader& from, SplineFit& fit) {
    if (!get(from, fit.surface)) return false;
    for (int* figure : {&fit.rank, &fit.freeColumns, &fit.weakColumns}) *figure = from.get<int>();
    fit.deviation = from.get<Deviation>();
    fit.normalCondition = from.get<double>();
    fit.noise = from.get<double>();
    return from.isSound();
}

void put(ByteWriter& to, const PatchResult& patch) {
    for (int figure : {patch.number, patch.rank, patch.freeColumns}) to.put(figure);
    to.put(patch.controlError);
}

PatchResult getPatch(ByteReader& from) {
    PatchResult patch;
    for (int* figure : {&patch.number, &patch.rank, &patch.freeColumns}) *figure = from.get<int>();
    patch.controlError = from.get<double>();
    return patch;
}

}  // namespace

std::string packed(const CloudResult& scattered) {
    ByteWriter to;
    to.put(scattered.cloud.frame);
    to.put(scattered.folds);
    to.put(scattered.filledBeyond);
    const Refinement& refinement = scattered.refinement;
    to.put(static_cast<int>(refinement.reason));
    to.put(refinement.fits);
    to.putAll(refinement.steps);
    put(to, refinement.best);
    return to.bytes();
}

bool unpack(std::string_view bytes, const std::vector<Vec3>& points, CloudResult& scattered) {
    ByteReader from(bytes);
    const Frame frame = from.get<Frame>();
    scattered.folds = from.get<Folds>();
    scattered.filledBeyond = from.get<double>();
    Refinement& refinement = scattered.refinement;
    const int reason = from.get<int>();
    refinement.reason = static_cast<StopReason>(reason);
    refinement.fits = from.get<int>();
    refinement.steps = from.getAll<RefineStep>();
    const bool known = reason >= 0 && reason < static_cast<int>(StopReason::kUser);
    if (!known || !get(from, refinement.best) || !from.isWhole()) return false;
    scattered.cloud = cloudOver(frame, points);
    return true;
}

std::string packedPatches(const FitResult& result) {
    ByteWriter to;
    auto surface = result.surfaces.begin();
    for (const PatchResult& patch : result.patches->patches) {
        put(to, patch);
        put(to, *surface++);
    }
    return to.bytes();
}

bool unpackPatches(std::string_view bytes, std::size_t count, FitResult& result) {
    ByteReader from(bytes);
    PatchesResult patches;
    std::vector<SplineSurface> surfaces;
    patches.wanted = count;
    for (std::size_t k = 0; k < count; ++k) {
        const PatchResult& patch = patches.patches.add(getPatch(from));
        if (!get(from, surfaces.emplace_back())) return false;
        patches.controlError = std::max(patches.controlError, patch.controlError);
    }
    if (!from.isWhole()) return false;
    result.patches = std::move(patches);
    result.surfaces = std::move(surfaces);
    return true;
}

}  // namespace kelvo::fit
