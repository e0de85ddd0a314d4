// The boxes and trial points of the box search: a trial is a point with its
// objective value, a VBox an axis-aligned box by its corners, a TBox a box
// that also keeps the stationary points located in it and their lowest value.
// The search's queues order boxes by that value, the lowest first.
#ifndef KINETRA_BOXSEARCH_MDGS_TOOLS_H
#define KINETRA_BOXSEARCH_MDGS_TOOLS_H

#include <cfloat>
#include <ostream>
#include <vector>

#include "boxsearch/MDGS_linalg.h"

// A point and its objective value; the largest double until evaluated.
class Trial {
public:
    Trial() = default;
    explicit Trial(int n) : x_(n) {}
    Trial(const Trial&) = default;
    Trial& operator=(const Trial&) = default;

    RVector x_;
    double f_ = DBL_MAX;
};

// A box by its lower and upper corner.
class VBox {
public:
    VBox() = default;
    explicit VBox(int n) : lb_(n), ub_(n) {}
    VBox(const VBox&) = default;
    VBox& operator=(const VBox&) = default;
    VBox(VBox&&) = default;
    VBox& operator=(VBox&&) = default;

    int GetDim() const { return lb_.size(); }
    double Width(int i) const { return ub_[i] - lb_[i]; }
    // m = lb + |ub - lb| / 2
    void Midpoint(RVector& m) const;

    RVector lb_, ub_;
};

// What OutsideBox says of a point.
enum BoxPlace {
    IN_BOX = 0,         // inside the box (and so inside the domain)
    OUT_OF_BOX = 1,     // outside the box but inside the domain
    OUT_OF_DOMAIN = 2,  // outside the domain
};

// A box with the stationary points located in it.
class TBox : public VBox {
public:
    TBox() = default;
    explicit TBox(int n) : VBox(n) {}
    TBox(const TBox&) = default;
    TBox& operator=(const TBox&) = default;
    TBox(TBox&&) = default;
    TBox& operator=(TBox&&) = default;

    double GetMin() const { return fmin_; }
    bool EmptyBox() const { return trials_.empty(); }
    // Appends the trial; fmin_ falls to its value if that is lower.
    void AddTrial(const Trial& t);
    // Takes the last trial out (the caller tests EmptyBox first; an empty
    // box leaves t as it is).
    void RemoveTrial(Trial& t);
    void GetLastTrial(Trial& t) const;
    const Trial& FirstTrial() const { return trials_.front(); }
    const Trial& LastTrial() const { return trials_.back(); }
    // Drops the trials; the corners stay.
    void ClearBox();
    int NStationary() const { return static_cast<int>(trials_.size()); }
    const std::vector<Trial>& Trials() const { return trials_; }

    // The first trial (in list order) nearer to x than tol: x becomes its
    // point, *f its value, and the answer is true.
    bool CloseToMin(RVector& x, double* f, double tol) const;
    // Cuts the box in two (b1 below the cut, b2 above) and hands each
    // trial to the half that holds it.
    void split(TBox& b1, TBox& b2) const;
    // x lies in the closed box.
    bool InsideBox(const RVector& x) const;
    // IN_BOX, OUT_OF_BOX or OUT_OF_DOMAIN (a BoxPlace).
    int OutsideBox(const RVector& x, const TBox& domain) const;
    // The smallest / largest width, its coordinate in *i (the first of
    // equals); i may be null.
    double ShortestSide(int* i) const;
    double LongestSide(int* i) const;
    // The smallest / largest over coordinates of min(x - lb, ub - x).
    double ClosestSide(const RVector& x) const;
    double FarthestSide(const RVector& x) const;
    // A Lipschitz lower bound of the objective on the box from its trials:
    // min(fmin_, min over pairs a != b of (f_a + f_b - L |x_a - x_b|) / 2).
    double LowerBound(double L) const;

    double fmin_ = DBL_MAX;

private:
    std::vector<Trial> trials_;
};

// The queues hold the box with the lowest fmin_ on top.
struct BoxAbove {
    bool operator()(const TBox& a, const TBox& b) const { return a.fmin_ > b.fmin_; }
};

std::ostream& operator<<(std::ostream& out, const Trial& t);
std::ostream& operator<<(std::ostream& out, const VBox& b);
std::ostream& operator<<(std::ostream& out, const TBox& b);

#endif
