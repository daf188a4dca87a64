#include "editor.h"

#include <KelvoBase/vl_undo.h>

#include <memory>

#include "net_edits.h"

namespace kelvo::fit {
namespace {

class Editor {
  public:
    Editor(const EditScript& script, const Vec3& up, std::vector<SplineSurface>& surfaces);
    ~Editor();
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    void play(const Edit& edit);
    EditResult result() const;

  private:
    void record(const Edit& edit);
    void movePoints(const Edit& edit, const char* name, std::vector<PointMove> moves);
    void raise(const Edit& edit);
    void step(const Edit& edit);
    std::vector<EditStep> history() const;
    std::string listing() const;

    const EditScript& script_;
    const Vec3 up_;
    std::vector<SplineSurface>& surfaces_;
    std::vector<SmoothableNet> smoothable_;  // one for each surface
    zoUndo::Manager* manager_;               // owned
    zoUndo::Manager* managerBefore_;         // borrowed
    int mark_ = 0;                           // steps done at the mark; -1: not to be reached
    std::string listing_;
};

Editor::Editor(const EditScript& script, const Vec3& up, std::vector<SplineSurface>& surfaces)
    : script_(script),
      up_(up),
      surfaces_(surfaces),
      smoothable_(surfaces.begin(), surfaces.end()),
      managerBefore_(zoUndo::getInstalledManager()) {
    zoKelvoBase::undoInit();
    manager_ = zoUndo::getInstalledManager();
}

Editor::~Editor() {
    delete manager_;
    zoUndo::installManager(managerBefore_);
}

void Editor::play(const Edit& edit) {
    switch (edit.kind) {
        case EditKind::kPatch:
            break;
        case EditKind::kUndo:
        case EditKind::kRedo:
            step(edit);
            break;
        case EditKind::kMark:
            manager_->setClean();
            mark_ = manager_->numDoneGroups();
            break;
        case EditKind::kList:
            listing_ += "history at line " + std::to_string(edit.command.line) + ":\n" + listing();
            break;
        default:
            record(edit);
    }
}

// Each edit is a group of its own, made from its line.
void Editor::record(const Edit& edit) {
    if (mark_ > manager_->numDoneGroups()) mark_ = -1;  // the way to it is dropped
    VL_undo_push_new_group(static_cast<zoUndo::Word>(edit.command.line), 0);
    const auto at = static_cast<std::size_t>(edit.surface);
    const int row = edit.rows.first, column = edit.columns.first;
    const Vec3 before = surfaces_[at].control(row, column);
    switch (edit.kind) {
        case EditKind::kMoveBy:
            movePoints(edit, "Move Control Point", {{row, column, before, before + edit.vector}});
            break;
        case EditKind::kMoveTo:
            movePoints(edit, "Move Control Point", {{row, column, before, edit.vector}});
            break;
        case EditKind::kSmooth:
            smoothable_[at].smooth(row, edit.rows.last, column, edit.columns.last, edit.count);
            break;
        default:
            raise(edit);
    }
    VL_undo_pop_group(true);
}

void Editor::movePoints(const Edit& edit, const char* name, std::vector<PointMove> moves) {
    SplineSurface& surface = surfaces_[static_cast<std::size_t>(edit.surface)];
    (new MovePoints(zoKelvoBase::undoGetGroup(), name, surface, std::move(moves)))->doIt();
}

void Editor::raise(const Edit& edit) {
    const SplineSurface& surface = surfaces_[static_cast<std::size_t>(edit.surface)];
    const bool alongRow = edit.kind == EditKind::kRaiseRow;
    const int count = alongRow ? surface.v().size() : surface.u().size();
    std::vector<PointMove> moves;
    for (int k = 0; k < count; ++k) {
        const int row = alongRow ? edit.rows.first : k, column = alongRow ? k : edit.columns.first;
        const Vec3 before = surface.control(row, column);
        moves.push_back({row, column, before, before + edit.vector.z * up_});
    }
    movePoints(edit, alongRow ? "Raise Row" : "Raise Column", std::move(moves));
}

void Editor::step(const Edit& edit) {
    const bool undo = edit.kind == EditKind::kUndo;
    VL_undo_set_in_undo(true);
    for (int k = 0; edit.toMark ? !manager_->isClean() : k < edit.count; ++k) {
        if (undo ? manager_->undo() : manager_->redo()) continue;
        VL_undo_set_in_undo(false);
        script_.fail(edit.command, std::string("nothing is left to ") + (undo ? "undo" : "redo") +
                                       (edit.toMark ? ", and the mark is not reached" : ""));
    }
    VL_undo_set_in_undo(false);
}

std::vector<EditStep> Editor::history() const {
    std::vector<EditStep> steps;
    for (int k = 0; k < manager_->numGroups(); ++k) {
        const zoUndo::Group& group = *manager_->getGroup(k);
        steps.push_back({group.name().c_str(), static_cast<std::size_t>(group.firstWord()),
                         k < manager_->numDoneGroups()});
    }
    return steps;
}

std::string Editor::listing() const {
    const std::string mark = "  -- mark --\n";
    std::string text = mark_ == 0 ? mark : "";
    int number = 0;
    for (const EditStep& step : history()) {
        text += "  " + std::to_string(++number) + ". " + step.name + " (line " +
                std::to_string(step.line) + (step.done ? ")\n" : ", undone)\n");
        if (number == mark_) text += mark;
    }
    return text;
}

EditResult Editor::result() const {
    return {history(), listing_, manager_->isClean(), 0};
}

double largestMove(const std::vector<SplineSurface>& a, const std::vector<SplineSurface>& b) {
    double largest = 0;
    for (std::size_t k = 0; k < a.size(); ++k)
        for (int i = 0; i < a[k].u().size(); ++i)
            for (int j = 0; j < a[k].v().size(); ++j)
                largest = std::max(largest, length(a[k].control(i, j) - b[k].control(i, j)));
    return largest;
}

}  // namespace

EditResult applyEdits(const EditScript& script, const Vec3& up,
                      std::vector<SplineSurface>& surfaces) {
    script.check(surfaces);
    // Until all is done the edits work on a copy.
    std::vector<SplineSurface> edited;
    edited.reserve(surfaces.size());
    for (const SplineSurface& surface : surfaces) edited.push_back(separateCopy(surface));
    Editor editor(script, up, edited);
    for (const Edit& edit : script.edits()) editor.play(edit);
    EditResult result = editor.result();
    result.largestMove = largestMove(surfaces, edited);
    surfaces = edited;
    return result;
}

}  // namespace kelvo::fit
