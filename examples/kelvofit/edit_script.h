// The script of --edit: edits of the fitted control net, one a line. docs/kelvofit.md tells the
// grammar.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "spline.h"
#include "text_file.h"

namespace kelvo::fit {

enum class EditKind {
    kPatch,  // which one the lines below are about
    kMoveBy,
    kMoveTo,
    kRaiseRow,
    kRaiseColumn,
    kSmooth,
    kUndo,
    kRedo,
    kMark,
    kList
};

/// First and last of some rows or columns, with the words that name them.
struct EditRange {
    int first = 0, last = 0;
    Word firstWord, lastWord;
};

/// One line. Which members count depends on the kind.
struct Edit {
    EditKind kind{};
    Word command;
    int surface = 0;          // set by the patch lines above
    EditRange rows, columns;  // a point, a row or column, or a region
    Vec3 vector;              // of a move; z is the height of a raise
    int count = 1;            // rounds of smoothing, steps of undo or redo
    bool toMark = false;      // undo and redo: as far as the mark
};

class EditScript {
  public:
    /// Reads a script; throws Failure with line and column for the first fault of the grammar.
    static EditScript read(const std::string& path);
    explicit EditScript(TextFile file);

    const std::vector<Edit>& edits() const { return edits_; }
    /// Throws Failure with line and column unless all rows, columns and patches exist.
    void check(const std::vector<SplineSurface>& surfaces) const;
    /// Throws Failure about a word of the script.
    [[noreturn]] void fail(const Word& word, const std::string& what) const;

  private:
    std::unique_ptr<TextFile> file_;  // owned; the words view its content
    std::vector<Edit> edits_;
};

}  // namespace kelvo::fit
