// Edits of control nets as commands of the undo history. They go into the current group
// (KelvoBase/vl_undo.h).
#pragma once

#include <KelvoBase/undo_command.h>

#include <vector>

#include "spline.h"

namespace kelvo::fit {

/// A control point and where it goes.
struct PointMove {
    int row = 0, column = 0;
    Vec3 before, after;
};

/// Moves control points of one surface; knows both places of each.
class MovePoints : public zoKelvoBase::UndoCommand {
  public:
    /// `surface` must live as long as the history.
    MovePoints(zoUndo::Group* group, const char* name, SplineSurface& surface,
               std::vector<PointMove> moves);

    bool redo() override;
    bool undo() override;
    int getNumBytesUsed() const override;

  private:
    SplineSurface& surface_;
    std::vector<PointMove> moves_;
};

/// A control net that is undone by snapshots of all its points: for edits that cannot be played
/// backwards.
class SmoothableNet final : public zoKelvoBase::StatefulUndoCmd {
  public:
    explicit SmoothableNet(SplineSurface& surface);

    zo::Reference<zoKelvoBase::StatefulUndoState> captureState() override;
    void applyState(zo::Reference<zoKelvoBase::StatefulUndoState> state) override;

    /// Moves the points of a region half way to the mean of their neighbours, `rounds` times. On an
    /// edge of the net only neighbours along the edge count; its corners stay.
    void smooth(int firstRow, int lastRow, int firstColumn, int lastColumn, int rounds);

  private:
    SplineSurface& surface_;
};

/// A copy with a net of its own.
SplineSurface separateCopy(const SplineSurface& surface);

}  // namespace kelvo::fit
