#include "linalg/kernels/rotation_queue.h"

#include <algorithm>

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {
namespace {

constexpr int kSweeps = static_cast<int>(kMostSweeps);
// Rows that go through all groups before the next ones: they should stay in the second-level cache.
constexpr int kStripRows = 64;

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

}  // namespace

std::size_t RotationQueue::work(int m) {
    return kMostGroups * 2 * kMostSweeps * (size(m) + kMostSweeps);
}

RotationQueue::RotationQueue(const Rotated& target, int m, double* work)
    : target_(target),
      work_(target.a ? work : nullptr),
      groupSize_(2 * kMostSweeps * (size(m) + kMostSweeps)) {}

double* RotationQueue::rotationsOf(int group) const {
    return work_ + size(group) * groupSize_;
}

// Where a sweep is much shorter than its group, waiting would cost more than it gains.
bool RotationQueue::fits(const Group& group, int begin, int last) const {
    return group.sweeps < kSweeps && begin >= group.begin && last <= group.last &&
           2 * (last - begin) > group.last - group.begin;
}

void RotationQueue::beginSweep(int begin, int last) {
    if (work_ == nullptr) return;
    if (groupCount_ == 0 || !fits(groups_[groupCount_ - 1], begin, last)) {
        if (groupCount_ == kMostGroups) flush();
        double* const pairs = rotationsOf(groupCount_);
        std::fill_n(pairs, 2 * kSweeps * (last - begin + 1 + kSweeps), 0.0);
        groups_[groupCount_++] = {begin, last, 0};
    }
    Group& group = groups_[groupCount_ - 1];
    const int s = group.sweeps++;
    firstColumn_ = group.begin;
    sweep_ = rotationsOf(groupCount_ - 1) + 2 * (kSweeps * (1 + s) + s);
}

void RotationQueue::add(int k, const Rotation& g) {
    if (target_.a == nullptr || k + 1 >= target_.columns) return;
    if (work_ == nullptr) return rotateNow(k, k + 1, g);
    double* const pair = sweep_ + 2 * kSweeps * (k - firstColumn_);
    pair[0] = g.s / (1.0 + g.c);
    pair[1] = g.s;
}

void RotationQueue::flush() {
    for (int i = 0; i < target_.rows && groupCount_ > 0; i += kStripRows) {
        const std::size_t rows = size(std::min(kStripRows, target_.rows - i));
        for (int g = 0; g < groupCount_; ++g) {
            const Group& group = groups_[g];
            const int cols = std::min(group.last + 1, target_.columns) - group.begin;
            if (cols < 2) continue;
            levelTables().reflection.rotate(rows, size(cols), size(group.sweeps), rotationsOf(g),
                                            target_.a + i + group.begin * target_.lda,
                                            size(static_cast<int>(target_.lda)));
        }
    }
    groupCount_ = 0;
}

void RotationQueue::rotateNow(int i, int j, const Rotation& g) const {
    if (target_.a == nullptr || std::max(i, j) >= target_.columns) return;
    rot(size(target_.rows), target_.a + i * target_.lda, target_.a + j * target_.lda, g.c, g.s);
}

}  // namespace kelvo::kernels
