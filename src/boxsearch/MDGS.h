// MDGS: a deterministic global minimiser over a box of R^n, given an
// objective and its gradient.
//
// The domain is partitioned into boxes. In each box a trust-region
// quasi-Newton local search (dogleg steps, BFGS pair) runs from regular
// start points (the midpoint and points moved by +-spread times the width
// along each coordinate) and from random ones; the stationary points it
// finds are kept. A box whose Lipschitz lower bound
//     min over pairs (f_a + f_b - L |x_a - x_b|) / 2,
// L the largest gradient norm seen in it, cannot beat the best value found
// is set aside; the others are cut in two and searched again. Boxes set
// aside are cut and searched in the next outer pass. The search has no goal
// but its clock: it works until the time limit has passed (or until it has
// nothing left to cut, see kMaxBoxes), and its best value is read afterwards.
//
// The search knows nothing of models: the caller hands over the objective,
// the gradient and, for tests, the clock, as closures that carry their own
// context, so that searches can run side by side.
#ifndef KINETRA_BOXSEARCH_MDGS_H
#define KINETRA_BOXSEARCH_MDGS_H

#include <functional>
#include <queue>
#include <random>
#include <vector>

#include "boxsearch/MDGS_linalg.h"
#include "boxsearch/MDGS_tools.h"

// The settings of one search.
struct MDGSParams {
    double tlimit = 5.0;    // seconds the search may use
    double closeTol = 0.1;  // distance under which a point is a known stationary point
    double ftol = 1e-9;     // value margin for keeping a minimiser
    double spread = 0.3;    // offset of the regular points, as a share of the width
    int det_pnts = 1;       // regular start points per box
    int rnd_pnts = 0;       // random start points per box
};

class MDGS {
public:
    typedef std::function<double(const RVector& x)> Objective;
    typedef std::function<void(const RVector& x, RVector& gradient)> Gradient;
    // Seconds on a monotonic scale; only differences are used.
    typedef std::function<double()> Clock;

    // What a local search ends with.
    enum LocalResult {
        UNSTABLE = 0,         // no usable step (the model of the function is not convex)
        ITERATION_LIMIT = 1,  // the steps ran out (or the time did)
        KNOWN_POINT = 2,      // it came close to a known stationary point
        CONVERGED = 3,        // a small gradient or a tiny step
        LEFT_BOX = 4,         // it left the box for good
    };

    // Boxes that a search may hold at once (waiting and set aside). Each
    // outer pass doubles them; at this count the search stops cutting and
    // ends, so that a flat or degenerate objective cannot fill the memory.
    static constexpr size_t kMaxBoxes = 1u << 16;

    // The monotonic clock of the process (std::chrono::steady_clock).
    static double steadySeconds();

    MDGS(const TBox& domain, Objective f, Gradient g, const MDGSParams& params, Clock clock = steadySeconds);

    // True if the box has finite corners, lb <= ub, and finite widths: the
    // only boxes a search accepts.
    static bool ValidDomain(const VBox& box);

    // The search. With component -1 it runs over the whole domain and x is
    // not used. With component >= 0 the domain has one dimension and x is a
    // full point of which that coordinate is searched: the objective and the
    // gradient see x with the coordinate replaced, and on return x holds the
    // best point found. False, without any evaluation, for a domain that
    // ValidDomain refuses or a component that x does not have.
    bool Search(int component, RVector& x);

    double GetMinValue() const { return fbound_; }
    void SetMinValue(double f) { fbound_ = f; }
    void SetDomain(const TBox& domain) { domain_ = domain; }
    void GetDomain(TBox& domain) const { domain = domain_; }
    // Seconds since the search began, and whether the limit still holds.
    double GetTime() const { return clock_() - startTime_; }
    bool InTime() const { return params_.tlimit >= GetTime(); }

    bool NoMinimizers() const { return solSet_.empty(); }
    void ClearSolSet() { solSet_.clear(); }
    const std::vector<Trial>& GetMinimizers() const { return solSet_; }
    // Prints the minimisers found (a message at level 1).
    void DispMinimizers() const;
    // Seeds a known point: added to the domain and to the minimisers.
    void AddPoint(const RVector& x, double f);

    // The lowest value of any evaluation of the objective (always inside
    // the domain) and its point, in the search's coordinates. It stays the
    // largest double only if nothing was evaluated. A search whose local
    // searches never converge, or end on a face of the domain, still has it.
    double GetBestValue() const { return bestF_; }
    const RVector& GetBestPoint() const { return bestX_; }

    // The local search: first trust radius as a share of the distance to the
    // nearest face, gradient and step tolerance, steps per dimension, steps
    // outside the box allowed.
    void SetDelta(double delta) { delta_ = delta; }
    void SetTol(double tol) { tol_ = tol; }
    void SetMaxIter(int maxiter) { maxiter_ = maxiter; }
    void SetMaxOutside(int maxOutside) { maxOutside_ = maxOutside; }

    int GetInnerIterations() const { return innerIterations_; }
    int GetOuterIterations() const { return outerIterations_; }
    long GetNumFunction() const { return numFunction_; }
    long GetNumGradient() const { return numGradient_; }
    size_t NumUnexplored() const { return unexplored_.size(); }
    size_t NumGarbage() const { return garbage_.size(); }

    // ---- The steps of the search, public for their tests ----
    // The regular / random start points of box, as trials of target.
    void FillRegular(TBox& target, const TBox& box) const;
    void FillRandom(TBox& target, const TBox& box);
    // Local searches from the start points of box; the converged ones become
    // its trials. Returns the largest gradient norm seen; *soft counts the
    // searches that left the box.
    double NewtonTest(TBox& box, int* soft);
    // Sets the box aside or cuts it into the waiting queue.
    void ReduceOrSubdivide(TBox& box);
    // One local search from t (see LocalResult); *slope is the running
    // largest gradient norm.
    int localSearch(Trial& t, const TBox& box, const TBox& domain, double closeTol, double* slope);

private:
    typedef std::priority_queue<TBox, std::vector<TBox>, BoxAbove> BoxQueue;

    // The objective and gradient at a point of the search's space (the
    // whole vector, or the one coordinate of a component search), counted;
    // every value is a candidate for the best point.
    double evaluate(const RVector& x);
    void gradient(const RVector& x, RVector& g);
    // Cuts a box into the waiting queue.
    void subdivide(const TBox& box);

    MDGSParams params_;
    int n_;
    Objective f_;
    Gradient g_;
    Clock clock_;
    std::vector<Trial> solSet_;
    BoxQueue unexplored_;
    BoxQueue garbage_;
    double delta_ = 0.5;
    double tol_ = 0.0001;
    int maxOutside_ = 1;
    int maxiter_ = 50;
    int innerIterations_ = 0;
    int outerIterations_ = 0;
    double fbound_ = DBL_MAX;
    TBox domain_;
    double eps_;
    long numFunction_ = 0;
    long numGradient_ = 0;
    double startTime_ = 0.0;

    // The component search: its coordinate (-1: none) and the full point.
    int component_ = -1;
    RVector full_, fullGradient_;
    double bestF_ = DBL_MAX;
    RVector bestX_;
    // The random start points come from the search's own generator, so
    // that searches neither share nor disturb a process-wide one.
    std::minstd_rand random_;

    // The local search's working set, sized once for the dimension.
    RMatrix B_, H_;
    RVector x_, y_, g_x_, g_y_, sd_, pN_, pC_, p_, s_, Bp_, Hs_, Hts_;
};

#endif
