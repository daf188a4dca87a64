#include "spline_fit.h"

#include "banded_least_squares.h"
#include "normal_equations.h"

namespace kelvo::fit {
namespace {

// All weights are relative to the support of an ordinary coefficient: the root of the sum of its
// function's squares over the points.
constexpr double kFreeTolerance = 1e-7;  // diagonal of R at which a column counts as dependent
constexpr double kWeakSupport = 0.05;    // support below which fairness helps
constexpr double kFairness = 0.05;       // weight of a bend of the net at a free coefficient
constexpr double kAnchor = 1e-7;         // weight that keeps the net at the plane if nothing else
// Where normal equations serve: columns (a full matrix is kept), weak ones among them (each of their
// rows is an update of the factor), 1 / condition; and 1 / condition that needs no correction.
constexpr int kMostNormal = 2000, kMostWeak = 30;
constexpr double kLeastCondition = 1e-11, kGoodCondition = 1e-4;
// Where they are the faster way: points to a column, width of the net.
constexpr int kManyPoints = 30, kWideNet = 10;
constexpr int kRounds = 40;  // at most, that take the pull of fairness off what points support

/// The system of one fit. Blocks run along the direction with more spans, so that they are small.
/// Unknowns are the distances of the control points from where the flat rectangle has them: flat
/// is what nothing pulls at.
class Assembly {
  public:
    Assembly(const Cloud& cloud, int uSpans, int vSpans, Memory memory)
        : cloud_(cloud),
          memory_(memory),
          turned_(vSpans > uSpans),
          along_(turned_ ? vSpans : uSpans),
          across_(turned_ ? uSpans : vSpans) {
        sortByWindow();
        measureSupport();
    }

    /// Least squares, with fairness where coefficients are free or weak.
    void solve(SplineFit& fit, Method method);

  private:
    double share(int c) const { return help_[static_cast<std::size_t>(c)]; }
    double& coefficient(double* row, int window, int i, int j) const {
        return row[(i - window) * across_.size() + j];
    }
    double alongOf(const CloudPoint& p) const { return turned_ ? p.v : p.u; }
    double acrossOf(const CloudPoint& p) const { return turned_ ? p.u : p.v; }

    /// How far a point is from the flat rectangle, in diagonals.
    Vec3 offsetOf(const CloudPoint& p) const {
        return (1 / cloud_.diagonal) * (p.at - cloud_.frame.at(p.u, p.v));
    }
    double pointSquares() const;
    void sortByWindow();
    void measureSupport();
    void addPoints(BandedLeastSquares& system, int window) const;
    template <class System>
    void addFairness(System& system, int window) const;
    template <class System>
    void addBend(System& system, int window, int i, int j, bool alongIt) const;
    int rateColumns(const std::vector<int>& freeColumns);
    SplineRow rowOf(const CloudPoint& p) const;
    bool solveNormal(SplineFit& fit) const;
    void makeFair(const NormalEquations& equations, const std::vector<double>& sides,
                  std::vector<double>& solution, const SplineFit& fit) const;
    void solveFair(const BandedLeastSquares& plain, SplineFit& fit) const;
    std::vector<double> gradient(const BandedLeastSquares& system, const std::vector<double>& x,
                                 double& squares) const;
    void store(const std::vector<double>& solution, SplineFit& fit) const;

    const Cloud& cloud_;
    Memory memory_;
    bool turned_;
    CubicAxis along_, across_;
    std::vector<std::vector<int>> inWindow_;  // points
    std::vector<double> support_;             // sum of squares, for each column
    double ordinary_ = 1;                     // support of an ordinary column
    std::vector<double> help_;                // fairness that a column needs, 0 .. 1
};

void Assembly::sortByWindow() {
    inWindow_.resize(static_cast<std::size_t>(along_.spans()));
    for (std::size_t k = 0; k < cloud_.points.size(); ++k) {
        const int window = along_.spanOf(alongOf(cloud_.points[k]));
        inWindow_[static_cast<std::size_t>(window)].push_back(static_cast<int>(k));
    }
}

void Assembly::measureSupport() {
    const int rows = across_.size();
    support_.assign(static_cast<std::size_t>(along_.size() * rows), 0.0);
    for (const CloudPoint& p : cloud_.points) {
        const Basis a = along_.basis(alongOf(p)), b = across_.basis(acrossOf(p));
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                const double x =
                    a.value[static_cast<std::size_t>(i)] * b.value[static_cast<std::size_t>(j)];
                support_[static_cast<std::size_t>((a.span + i) * rows + b.span + j)] += x * x;
            }
    }
    std::vector<double> sorted;
    for (double s : support_)
        if (s > 0) sorted.push_back(s);
    std::nth_element(sorted.begin(),
                     sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2), sorted.end());
    ordinary_ = sorted[sorted.size() / 2];
    help_.assign(support_.size(), 0.0);
}

void Assembly::addPoints(BandedLeastSquares& system, int window) const {
    for (int k : inWindow_[static_cast<std::size_t>(window)]) {
        const CloudPoint& p = cloud_.points[static_cast<std::size_t>(k)];
        const Basis a = along_.basis(alongOf(p)), b = across_.basis(acrossOf(p));
        double* row = system.newRow(window);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                coefficient(row, window, window + i, b.span + j) =
                    a.value[static_cast<std::size_t>(i)] * b.value[static_cast<std::size_t>(j)];
        const Vec3 offset = offsetOf(p);
        for (int side = 0; side < 3; ++side)
            row[BandedLeastSquares::kBand * across_.size() + side] = offset[side];
    }
}

double Assembly::pointSquares() const {
    double sum = 0;
    for (const CloudPoint& p : cloud_.points) sum += dot(offsetOf(p), offsetOf(p));
    return sum;
}

// A row that asks for no bend of the net at the coefficient (i, j), along the blocks or across.
template <class System>
void Assembly::addBend(System& system, int window, int i, int j, bool alongIt) const {
    const CubicAxis& axis = alongIt ? along_ : across_;
    const int at = alongIt ? i : j, size = across_.size();
    if (at < 1 || at + 1 >= axis.size()) return;
    const int step = alongIt ? size : 1, column = i * size + j;
    const double help = std::max({share(column - step), share(column), share(column + step)});
    if (help == 0) return;
    // Spacing differs at the ends; a net that is evenly sloped does not bend.
    const double before = axis.greville(at) - axis.greville(at - 1);
    const double after = axis.greville(at + 1) - axis.greville(at);
    const double weight = kFairness * help * std::sqrt(ordinary_) * 2 / (before + after);
    double* row = system.newRow(window);
    const int di = alongIt ? 1 : 0, dj = alongIt ? 0 : 1;
    coefficient(row, window, i - di, j - dj) = weight * after;
    coefficient(row, window, i, j) = -weight * (before + after);
    coefficient(row, window, i + di, j + dj) = weight * before;
}

// The fairness rows that start in the first block of `window`; in the last window, all others too.
template <class System>
void Assembly::addFairness(System& system, int window) const {
    const int last = along_.spans() - 1;
    const int end = window == last ? along_.size() : window + 1;
    for (int i = window; i < end; ++i)
        for (int j = 0; j < across_.size(); ++j) {
            if (i + 1 < along_.size()) addBend(system, window, i + 1, j, true);
            addBend(system, window, i, j, false);
            if (share(i * across_.size() + j) > 0)
                coefficient(system.newRow(window), window, i, j) = kAnchor * std::sqrt(ordinary_);
        }
}

// Says how much help each column needs; returns how many do.
int Assembly::rateColumns(const std::vector<int>& freeColumns) {
    for (int c : freeColumns) help_[static_cast<std::size_t>(c)] = 1;
    // A single span has no holes: few points support it everywhere or nowhere.
    const bool single = along_.spans() == 1;
    int weak = 0;
    for (std::size_t c = 0; c < help_.size(); ++c) {
        const double lack = 1 - support_[c] / (kWeakSupport * ordinary_);
        if (!single) help_[c] = std::max(help_[c], lack);
        if (help_[c] > 0) ++weak;
    }
    return weak;
}

void Assembly::store(const std::vector<double>& solution, SplineFit& fit) const {
    for (int i = 0; i < along_.size(); ++i)
        for (int j = 0; j < across_.size(); ++j) {
            const int iu = turned_ ? j : i, iv = turned_ ? i : j;
            const double* c = solution.data() + 3 * (i * across_.size() + j);
            const Vec3 flat =
                cloud_.frame.at(fit.surface.u().greville(iu), fit.surface.v().greville(iv));
            fit.surface.setControl(iu, iv, flat + cloud_.diagonal * Vec3{c[0], c[1], c[2]});
        }
}

SplineRow Assembly::rowOf(const CloudPoint& p) const {
    const Basis a = along_.basis(alongOf(p)), b = across_.basis(acrossOf(p));
    SplineRow row;
    for (std::size_t i = 0; i < 4; ++i) {
        row.first[i] = (a.span + static_cast<int>(i)) * across_.size() + b.span;
        for (std::size_t j = 0; j < 4; ++j) row.value[4 * i + j] = a.value[i] * b.value[j];
    }
    return row;
}

// By normal equations; false when their condition is too bad.
bool Assembly::solveNormal(SplineFit& fit) const {
    NormalEquations equations(fit.rank);
    std::vector<double> sides(3 * support_.size());
    for (const CloudPoint& p : cloud_.points) {
        const SplineRow row = rowOf(p);
        equations.add(row);
        addTo(sides, row, offsetOf(p));
    }
    const double condition = equations.factor();
    if (!(condition >= kLeastCondition)) return false;
    std::vector<double> solution = sides;
    equations.solve(solution);
    if (condition < kGoodCondition) {
        std::vector<double> correction(solution.size());
        for (const CloudPoint& p : cloud_.points) {
            const SplineRow row = rowOf(p);
            addTo(correction, row, offsetOf(p) - valueOf(row, solution));
        }
        equations.solve(correction);
        for (std::size_t c = 0; c < solution.size(); ++c) solution[c] += correction[c];
    }
    fit.normalCondition = condition;
    if (fit.weakColumns > 0) makeFair(equations, sides, solution, fit);
    store(solution, fit);
    return true;
}

// Passes the rows that it is given on to the factor.
class FactorRows {
  public:
    FactorRows(NormalEquations& factor, int blockSize)
        : factor_(factor),
          blockSize_(blockSize),
          row_(static_cast<std::size_t>(BandedLeastSquares::kBand * blockSize)) {}

    double* newRow(int window) {
        pass();
        window_ = window;
        used_ = true;
        return row_.data();
    }
    void pass() {
        if (!used_) return;
        factor_.update(row_.data(), window_ * blockSize_, static_cast<int>(row_.size()));
        std::fill(row_.begin(), row_.end(), 0.0);
    }

  private:
    NormalEquations& factor_;
    int blockSize_, window_ = 0;
    bool used_ = false;
    std::vector<double> row_;
};

double dotOf(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t c = 0; c < a.size(); ++c) sum += a[c] * b[c];
    return sum;
}

// What solveFair() does, from the least-squares solution of all points.
void Assembly::makeFair(const NormalEquations& equations, const std::vector<double>& sides,
                        std::vector<double>& solution, const SplineFit& fit) const {
    const double freedom = static_cast<double>(cloud_.points.size()) - fit.rank;
    const double leastSquares = std::max(pointSquares() - dotOf(solution, sides), 0.0);
    const double variance = leastSquares / std::max(freedom, 1.0);
    NormalEquations fair = equations;
    FactorRows rows(fair, across_.size());
    for (int window = 0; window < along_.spans(); ++window) addFairness(rows, window);
    rows.pass();
    const std::vector<double> best = solution;
    solution = sides;
    fair.solve(solution);
    for (int round = 1; round < kRounds; ++round) {
        std::vector<double> way = best;
        for (std::size_t c = 0; c < way.size(); ++c) way[c] -= solution[c];
        std::vector<double> correction = equations.product(way);
        if (dotOf(way, correction) <= fit.weakColumns * variance) break;
        fair.solve(correction);
        for (std::size_t c = 0; c < solution.size(); ++c) solution[c] += correction[c];
    }
}

void Assembly::solve(SplineFit& fit, Method method) {
    fit.rank = static_cast<int>(support_.size());
    const bool many = cloud_.points.size() >= kManyPoints * support_.size();
    const bool faster = many && across_.size() >= kWideNet;
    if ((method == Method::kCholesky || (method == Method::kAuto && faster)) &&
        fit.rank <= kMostNormal) {
        fit.weakColumns = rateColumns({});
        if (fit.weakColumns <= kMostWeak && solveNormal(fit)) return;
        help_.assign(support_.size(), 0.0);
    }
    BandedLeastSquares system(along_.size(), across_.size(), kFreeTolerance * std::sqrt(ordinary_),
                              memory_);
    for (int window = 0; window < along_.spans(); ++window) addPoints(system, window);
    system.finish();
    fit.rank = system.rank();
    fit.freeColumns = static_cast<int>(system.freeColumns().size());
    fit.weakColumns = rateColumns(system.freeColumns());
    if (fit.weakColumns == 0)
        store(system.solve(), fit);
    else
        solveFair(system, fit);
}

// Fairness pulls a little at coefficients that points do support. The rounds after the first ask it
// of the correction only, which lets these go where least squares wants them; what points leave
// open has nothing to correct (iterated Tikhonov regularisation). They end when the pull costs no
// more than the weak coefficients could have taken off pure noise: further ones would follow it.
// The points come in as the equations of the plain system.
void Assembly::solveFair(const BandedLeastSquares& plain, SplineFit& fit) const {
    double leastSquares = pointSquares();
    for (const auto& [window, row] : plain.equations())
        for (auto side = row.end() - 3; side != row.end(); ++side) leastSquares -= *side * *side;
    const auto width = static_cast<std::size_t>(BandedLeastSquares::kBand * across_.size());
    BandedLeastSquares fair(along_.size(), across_.size(), 0.0, memory_);
    auto equation = plain.equations().begin();
    for (int window = 0; window < along_.spans(); ++window) {
        const bool last = window + 1 == along_.spans();
        for (; equation != plain.equations().end() && (last || equation->window == window);
             ++equation) {
            // Those of the last blocks belong to the last window, further to the right in it.
            const auto shift =
                static_cast<std::size_t>((equation->window - window) * across_.size());
            double* row = fair.newRow(window);
            const double* from = equation->row.data();
            std::copy(from, from + width - shift, row + shift);
            std::copy(from + width, from + width + 3, row + width);
        }
        addFairness(fair, window);
    }
    fair.finish();
    const double freedom = static_cast<double>(cloud_.points.size()) - fit.rank;
    const double variance = leastSquares / std::max(freedom, 1.0);
    std::vector<double> solution = fair.solve();
    for (int round = 1; round < kRounds && fair.rank() == fair.columns(); ++round) {
        double excess = 0;
        const std::vector<double> g = gradient(plain, solution, excess);
        if (excess <= fit.weakColumns * variance) break;
        const std::vector<double> correction = fair.solveNormal(g);
        for (std::size_t c = 0; c < solution.size(); ++c) solution[c] += correction[c];
    }
    store(solution, fit);
}

// A^T (b - A x) and the square of b - A x, for the equations A x = b.
std::vector<double> Assembly::gradient(const BandedLeastSquares& system,
                                       const std::vector<double>& x, double& squares) const {
    std::vector<double> g(x.size(), 0.0);
    const auto size = static_cast<std::size_t>(across_.size());
    const std::size_t width = BandedLeastSquares::kBand * size;
    for (const auto& [window, row] : system.equations()) {
        const std::size_t first = 3 * static_cast<std::size_t>(window) * size;
        const std::size_t used = std::min(width, (x.size() - first) / 3);
        for (std::size_t side = 0; side < 3; ++side) {
            double r = row[width + side];
            for (std::size_t c = 0; c < used; ++c) r -= row[c] * x[first + 3 * c + side];
            for (std::size_t c = 0; c < used; ++c) g[first + 3 * c + side] += row[c] * r;
            squares += r * r;
        }
    }
    return g;
}

void measure(const Cloud& cloud, SplineFit& fit) {
    double sum = 0;
    for (const CloudPoint& p : cloud.points) {
        const double d = length(p.at - fit.surface.evaluate(p.u, p.v).at) / cloud.diagonal;
        sum += d * d;
        if (d > fit.deviation.largest) fit.deviation = {d, 0, p.u, p.v};
    }
    const double count = static_cast<double>(cloud.points.size());
    fit.deviation.largest *= cloud.diagonal;
    fit.deviation.rms = cloud.diagonal * std::sqrt(sum / count);
    fit.noise = cloud.diagonal * std::sqrt(sum / std::max(count - fit.rank, 1.0));
}

}  // namespace

SplineFit fitSpline(const Cloud& cloud, int uSpans, int vSpans, Memory memory, Method method) {
    SplineFit fit;
    fit.surface = SplineSurface(uSpans, vSpans);
    Assembly assembly(cloud, uSpans, vSpans, memory);
    assembly.solve(fit, method);
    measure(cloud, fit);
    return fit;
}

}  // namespace kelvo::fit
