#include "debug_log.h"

#include <Base/rpt.h>
#include <KelvoBase/aa_debug.h>

#include <filesystem>

#include "failure.h"
#include "text_file.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

// Modes, and steps of AA_set_indent.
constexpr int kStandardError = 1, kStream = 3, kDeeper = -1, kHigher = -2;

// A stream of our own, since one that the library opens does not tell that the disk is full.
std::FILE* opened(const std::string& name, std::initializer_list<std::string> inputs) {
    std::error_code none;  // a file that does not exist is not the same
    for (const std::string& read : inputs)
        if (!read.empty() && std::filesystem::equivalent(name, read, none))
            throw Failure("--debug: " + fit::quoted(name) + " would overwrite " +
                          fit::quoted(read));
    std::FILE* const file = std::fopen(name.c_str(), "we");
    if (!file) throw Failure("--debug: " + fit::quoted(name) + " cannot be written");
    return file;
}

}  // namespace

DebugLog::DebugLog(const Options& options, std::initializer_list<std::string> inputs)
    : name_(options.debug) {
    if (name_.empty()) return;
    if (name_ != "-") file_ = opened(name_, inputs);
    AA_set_print_out(file_ ? kStream : kStandardError, file_);
    AA_debug_print("kelvofit %s: %s\n", KELVOFIT_VERSION, options.input.c_str());
}

DebugLog::~DebugLog() {
    if (name_.empty()) return;
    AA_set_indent(0);
    AA_set_print_out(kStandardError, nullptr);
    if (!file_) return;
    const bool whole = std::ferror(file_) == 0;
    if (std::fclose(file_) != 0 || !whole)
        rptError("kelvofit: --debug: %s: could not be written in whole\n", name_.c_str());
}

void DebugLog::line(const std::string& text) const {
    if (name_.empty()) return;
    AA_set_indent(kDeeper);
    AA_indent();
    AA_debug_print("%s\n", text.c_str());
    AA_set_indent(kHigher);
}

void DebugLog::stage(const std::string& name) const {
    if (!name_.empty()) AA_debug_print("%s\n", name.c_str());
}

void DebugLog::patches(const PatchesResult& patches) const {
    if (name_.empty()) return;
    for (const PatchResult* patch : patches.patches.sorted(PatchResult::worseFirst))
        line("patch " + std::to_string(patch->number) + ": rank " + std::to_string(patch->rank) +
             ", control points off by " + rounded(patch->controlError, 3));
}

void DebugLog::step(int number, const SplineFit& fit) const {
    if (name_.empty()) return;
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
