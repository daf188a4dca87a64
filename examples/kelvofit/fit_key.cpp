#include "fit_key.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "bytes.h"

namespace kelvo::fit {
namespace {

ByteWriter begin(const char* kind) {
    ByteWriter recipe;
    recipe.putText(KELVOFIT_VERSION);
    recipe.putText(kind);
    return recipe;
}

}  // namespace

std::string digestOf(std::string_view bytes) {
    const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
    return to_string(generator(bytes.data(), bytes.size()));
}

std::string keyOf(const std::vector<Vec3>& points, double tolerance, const Options& options) {
    ByteWriter recipe = begin("scattered");
    recipe.put(tolerance);
    recipe.put(options.maxSpans);
    recipe.put(options.axis);
    recipe.put(options.method);
    recipe.putAll(points);
    return digestOf(recipe.bytes());
}

std::string keyOf(const PatchModel& model, const Options& options) {
    ByteWriter recipe = begin("patches");
    recipe.put(options.samples);
    recipe.put(options.noise);
    recipe.put(options.seed);
    recipe.putAll(model.points);
    for (const auto& corners : model.patches) recipe.put(corners);
    return digestOf(recipe.bytes());
}

}  // namespace kelvo::fit
