// LevenbergMarquardt: the standard local optimizer, a damped Gauss-Newton fit
// of the free parameters of one optimizable, voxel by voxel.
//
// Each step solves (alpha + lambda diag(alpha)) da = beta, where alpha is the
// weighted normal matrix J^T W J and beta = J^T W (y - f) of the current
// parameters. A step that lowers chi-square is taken and lambda falls
// tenfold (towards Gauss-Newton); a step that does not is refused and lambda
// rises tenfold (towards a short gradient step). Bounds are kept by a
// penalty: a parameter outside its box is put on the bound and pays
// 1e20 * excess^2 in chi-square, so a step that leaves the box loses.
//
// The voxel's iterations end by the first of these that holds, tested in
// this order after every step, the last that fires giving the reason:
//   1, 2  the system was singular (gaussj's codes);
//   3     the iteration limit `maxiter` was reached;
//   4     the relative fall of chi-square is at most `delta_chisquare`
//         after a taken step;
//   5     chi-square is under `abs_chisquare`;
//   6     lambda rose `rampLimit_` (20) times in a row;
//   7, 8  the largest absolute / relative parameter change is under
//         `abs_delta_argument` / `rel_delta_argument` after a taken step.
#ifndef KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_H
#define KINETRA_OPTIMIZERS_LEVENBERGMARQUARDT_H

#include "Optimizer.h"

class LevenbergMarquardt : public Optimizer {
public:
    // Why a voxel's iterations ended: the record's exitFlag_, and the index
    // of the reason's text in reasons_.
    enum StopCode {
        RUNNING = 0,  // "unknown": no rule has fired
        SINGULAR_1 = 1,
        SINGULAR_2 = 2,
        ITERATIONS = 3,
        RELATIVE_CHISQUARE = 4,
        ABSOLUTE_CHISQUARE = 5,
        LAMBDA_RAMP = 6,
        ABSOLUTE_ARGUMENT = 7,
        RELATIVE_ARGUMENT = 8
    };

    LevenbergMarquardt();
    ~LevenbergMarquardt() override;

    using Optimizer::run;
    int getRampLimit() const { return rampLimit_; }

protected:
    // One voxel, from its tolerances to its closing report.
    void run(Voxel& voxel) override;
    Optimizer* makeWorker(Optimizable* model) const override;

private:
    LevenbergMarquardt(const LevenbergMarquardt& master, Optimizable* model);

    struct Work;      // the arrays of one run and mrqmin's working set
    struct Progress;  // what the stop rules look at

    // Largest absolute and relative parameter change since the last taken step.
    static void measureChange(const Work& w, Progress& p);
    // Counts consecutive rises of lambda upwards, other steps downwards.
    static void countRamp(Progress& p);

    // The stop rules, each in one place; stopRule applies them in order and
    // the last that fires (the highest code) stands.
    int stopRule(const Work& w, const Progress& p) const;
    static bool iterationLimitReached(const Work& w);
    static bool chiSquareSettled(const Work& w, const Progress& p);
    static bool chiSquareSmall(const Work& w);
    bool lambdaRamped(const Progress& p) const;
    static bool argumentSettledAbsolute(const Work& w, const Progress& p);
    static bool argumentSettledRelative(const Work& w, const Progress& p);

    // Writes a[1..n] into the fitted parameters at the voxel in work.
    void setParameters(const double* a, int n);
    // Chi-square, alpha and beta at the parameters a (moved into their box).
    void mrqcof(Work& w, double* a, double** alpha, double* beta);
    // One damped step; lambda < 0 starts a voxel, lambda == 0 closes it.
    // Returns 0 or gaussj's singular code.
    int mrqmin(Work& w, double& lambda);
    // Spreads the mfit x mfit matrix of the fitted parameters over ma x ma.
    static void covsrt(double** covar, int ma, const int* ia, int mfit);
    // The status file of the iteration in work.
    void status(const Work& w, int iteration) const;

    int rampLimit_;
};

#endif
