#include "net_edits.h"

#include <utility>

namespace kelvo::fit {
namespace {

/// All control points, row after row.
class NetState : public zoKelvoBase::StatefulUndoState {
  public:
    std::vector<Vec3> points;

    int sizeInBytes() const override {
        return static_cast<int>(sizeof *this + points.size() * sizeof(Vec3));
    }
};

/// The point of a net, or where smoothing would pull it to: the mean of its neighbours.
Vec3 pulled(const SplineSurface& surface, int i, int j) {
    const bool rowInside = i > 0 && i + 1 < surface.u().size();
    const bool columnInside = j > 0 && j + 1 < surface.v().size();
    const auto mean = [](const Vec3& a, const Vec3& b) { return 0.5 * a + 0.5 * b; };
    const auto acrossRows = [&] {
        return mean(surface.control(i - 1, j), surface.control(i + 1, j));
    };
    const auto acrossColumns = [&] {
        return mean(surface.control(i, j - 1), surface.control(i, j + 1));
    };
    if (rowInside && columnInside) return mean(acrossRows(), acrossColumns());
    if (rowInside) return acrossRows();
    return columnInside ? acrossColumns() : surface.control(i, j);
}

}  // namespace

MovePoints::MovePoints(zoUndo::Group* group, const char* name, SplineSurface& surface,
                       std::vector<PointMove> moves)
    : UndoCommand(group, name), surface_(surface), moves_(std::move(moves)) {
    declare(&surface_);
}

bool MovePoints::redo() {
    for (const PointMove& move : moves_) surface_.setControl(move.row, move.column, move.after);
    return true;
}

bool MovePoints::undo() {
    for (const PointMove& move : moves_) surface_.setControl(move.row, move.column, move.before);
    return true;
}

int MovePoints::getNumBytesUsed() const {
    return static_cast<int>(sizeof *this + moves_.size() * sizeof(PointMove));
}

SmoothableNet::SmoothableNet(SplineSurface& surface)
    : StatefulUndoCmd("Smooth Region"), surface_(surface) {}

zo::Reference<zoKelvoBase::StatefulUndoState> SmoothableNet::captureState() {
    auto* state = new NetState;
    for (int i = 0; i < surface_.u().size(); ++i)
        for (int j = 0; j < surface_.v().size(); ++j)
            state->points.push_back(surface_.control(i, j));
    return state;
}

void SmoothableNet::applyState(zo::Reference<zoKelvoBase::StatefulUndoState> state) {
    auto point = static_cast<NetState&>(*state).points.begin();
    for (int i = 0; i < surface_.u().size(); ++i)
        for (int j = 0; j < surface_.v().size(); ++j) surface_.setControl(i, j, *point++);
}

void SmoothableNet::smooth(int firstRow, int lastRow, int firstColumn, int lastColumn, int rounds) {
    startChange();
    for (int round = 0; round < rounds; ++round) {
        std::vector<PointMove> moves;
        for (int i = firstRow; i <= lastRow; ++i)
            for (int j = firstColumn; j <= lastColumn; ++j) {
                const Vec3 p = surface_.control(i, j);
                moves.push_back({i, j, p, 0.5 * p + 0.5 * pulled(surface_, i, j)});
            }
        for (const PointMove& move : moves) surface_.setControl(move.row, move.column, move.after);
    }
    endChange();
}

SplineSurface separateCopy(const SplineSurface& surface) {
    SplineSurface copy(surface.u().spans(), surface.v().spans());
    for (int i = 0; i < surface.u().size(); ++i)
        for (int j = 0; j < surface.v().size(); ++j) copy.setControl(i, j, surface.control(i, j));
    return copy;
}

}  // namespace kelvo::fit
