// Simplex: the derivative-free local optimizer, a Nelder-Mead downhill
// simplex on the parameters of one voxel at a time, with bounds enforced by
// clamping each trial point. It minimises the plain sum of squared
// residuals; an error dataset weighs only in the statistics.
//
// The simplex has P + 1 vertices in the P fitted parameters. Each pass ranks
// them (best ilo, worst ihi, second worst inhi) and moves the worst through
// the centroid of the others: a reflection; if that is the new best, an
// expansion to twice the distance; if it is still no better than the second
// worst, a contraction to half the distance, and if even that fails, a
// shrink of every vertex halfway towards the best. Expansions and
// contractions count one step, a shrink P steps, a plain reflection none;
// a voxel has P * maxiter steps.
//
// The search ends when the relative spread of the values,
// 2 |f(ihi) - f(ilo)| / |f(ihi) + f(ilo)|, is at most `delta_chisquare`, when
// the best value is at most `abs_chisquare`, or when the steps run out. The
// record's reason is then chosen by these rules, the last that fires standing:
//   3  the step count equals `maxiter` (not P * maxiter: with P above 1 a
//      voxel that runs out of steps keeps 0 unless a tolerance fires);
//   4  `delta_chisquare` > 0 and the last spread is at most it;
//   5  `abs_chisquare` > 0 and the best value is under it.
#ifndef KINETRA_OPTIMIZERS_SIMPLEX_H
#define KINETRA_OPTIMIZERS_SIMPLEX_H

#include "Optimizer.h"

class Simplex : public Optimizer {
public:
    // Why a voxel's search ended: the record's exitFlag_, and the index of
    // the reason's text in reasons_.
    enum StopCode { RUNNING = 0, ITERATIONS = 3, RELATIVE_CHISQUARE = 4, ABSOLUTE_CHISQUARE = 5 };

    Simplex();
    ~Simplex() override;

    using Optimizer::run;

protected:
    void run(Voxel& voxel) override;
    Optimizer* makeWorker(Optimizable* model) const override;

private:
    Simplex(const Simplex& master, Optimizable* model) : Optimizer(master, model) {}

    struct Work;  // the simplex and what a voxel's search reached

    // Writes p[0..P) into the fitted parameters at the voxel in work and
    // returns the sum of squared residuals; a value that is not a number
    // counts as +inf, so that such a vertex loses every comparison.
    double func(Work& w, const double* p);
    // Moves each parameter with a range (upper > lower) into it.
    static void checkBounds(double* p, const double* lower, const double* upper, unsigned P);
    // The first simplex around the start vector, evaluated.
    void nelderMeadInit(Work& w);
    // The search from w.a (moved into the bounds first); w.a goes out as the
    // lowest vertex. Returns the last relative spread (0 without a pass).
    double nelderMead(Work& w);

    // The steps of one pass.
    static void rank(Work& w);
    // Tries the point on the line from the worst vertex through the centroid
    // of the others at factor `fac` (-1 reflects, 2 expands, 0.5 contracts),
    // clamped into the bounds, and takes it in place of the worst vertex if
    // it is lower. Returns its value.
    double tryPoint(Work& w, double fac);
    void move(Work& w);
    void shrink(Work& w);
    // The lowest vertex, ties going to the later one.
    static unsigned lowest(const Work& w);

    // The reason code of a finished search (see above).
    static int stopRule(const Work& w, double spread);
    // The status file of the voxel in work at `iteration`.
    void status(const Voxel& voxel, int iteration) const;
};

#endif
