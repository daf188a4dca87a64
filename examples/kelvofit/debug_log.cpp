#include "debug_log.h"

#include <KelvoBase/aa_debug.h>

#include <filesystem>

#include "failure.h"
#include "text_file.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

// Modes, and steps of AA_set_indent.
constexpr int kStandardError = 1, kNamedFile = 2, kDeeper = -1, kHigher = -2;

void select(const Options& options, std::initializer_list<std::string> inputs) {
    if (options.debug == "-") return AA_set_print_out(kStandardError, nullptr);
    std::error_code none;  // a file that does not exist is not the same
    for (const std::string& read : inputs)
        if (!read.empty() && std::filesystem::equivalent(options.debug, read, none))
            throw Failure("--debug: " + fit::quoted(options.debug) + " would overwrite " +
                          fit::quoted(read));
    std::string name = options.debug;
    AA_set_print_out(kNamedFile, name.data());
}

}  // namespace

DebugLog::DebugLog(const Options& options, std::initializer_list<std::string> inputs)
    : on_(!options.debug.empty()) {
    if (!on_) return;
    select(options, inputs);
    // A file that cannot be opened swallows the text.
    if (AA_debug_print("kelvofit %s: %s\n", KELVOFIT_VERSION, options.input.c_str()) <= 0) {
        AA_set_print_out(kStandardError, nullptr);
        throw Failure("--debug: " + fit::quoted(options.debug) + " cannot be written");
    }
}

DebugLog::~DebugLog() {
    if (!on_) return;
    AA_set_indent(0);
    AA_set_print_out(kStandardError, nullptr);  // closes the file
}

void DebugLog::line(const std::string& text) const {
    if (!on_) return;
    AA_set_indent(kDeeper);
    AA_indent();
    AA_debug_print("%s\n", text.c_str());
    AA_set_indent(kHigher);
}

void DebugLog::stage(const std::string& name) const {
    if (on_) AA_debug_print("%s\n", name.c_str());
}

void DebugLog::patches(const PatchesResult& patches) const {
    if (!on_) return;
    for (const PatchResult* patch : patches.patches.sorted(PatchResult::worseFirst))
        line("patch " + std::to_string(patch->number) + ": rank " + std::to_string(patch->rank) +
             ", control points off by " + rounded(patch->controlError, 3));
}

void DebugLog::step(int number, const SplineFit& fit) const {
    if (!on_) return;
    line("fit " + std::to_string(number) + ": " + std::to_string(fit.surface.u().spans()) + " x " +
         std::to_string(fit.surface.v().spans()) + " spans, rank " + std::to_string(fit.rank) +
         ", free " + std::to_string(fit.freeColumns) + ", weak " + std::to_string(fit.weakColumns) +
         ", largest " + rounded(fit.deviation.largest, 4) + ", rms " +
         rounded(fit.deviation.rms, 4) + ", noise " + rounded(fit.noise, 4));
}

void DebugLog::edits(const EditResult& edits) const {
    for (const EditStep& step : edits.history)
        line("line " + std::to_string(step.line) + ": " + step.name +
             (step.done ? "" : ", undone"));
}

}  // namespace kelvo::fit
