// The box search: the outer and inner passes, the treatment of one box and
// the start points. The local search is in MDGS.local.cpp.
#include "boxsearch/MDGS.h"

#include <chrono>
#include <cmath>
#include <sstream>

#include "util/Message.h"

double MDGS::steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

MDGS::MDGS(const TBox& domain, Objective f, Gradient g, const MDGSParams& params, Clock clock)
    : params_(params),
      n_(domain.GetDim()),
      f_(std::move(f)),
      g_(std::move(g)),
      clock_(std::move(clock)),
      domain_(domain),
      eps_(eps()),
      bestX_(n_),
      B_(n_),
      H_(n_),
      x_(n_),
      y_(n_),
      g_x_(n_),
      g_y_(n_),
      sd_(n_),
      pN_(n_),
      pC_(n_),
      p_(n_),
      s_(n_),
      Bp_(n_),
      Hs_(n_),
      Hts_(n_) {}

bool MDGS::ValidDomain(const VBox& box) {
    if (box.ub_.size() != box.GetDim()) return false;
    for (int i = 0; i < box.GetDim(); ++i)
        if (!(std::isfinite(box.lb_[i]) && std::isfinite(box.ub_[i]) && box.lb_[i] <= box.ub_[i] &&
              std::isfinite(box.Width(i))))
            return false;
    return true;
}

double MDGS::evaluate(const RVector& x) {
    ++numFunction_;
    double f;
    if (component_ < 0) {
        f = f_(x);
    } else {
        full_[component_] = x[0];
        f = f_(full_);
    }
    if (f < bestF_) {
        bestF_ = f;
        bestX_ = x;
    }
    return f;
}

void MDGS::gradient(const RVector& x, RVector& g) {
    ++numGradient_;
    if (component_ < 0) {
        g_(x, g);
    } else {
        full_[component_] = x[0];
        g_(full_, fullGradient_);
        g[0] = fullGradient_[component_];
    }
}

void MDGS::AddPoint(const RVector& x, double f) {
    Trial t(n_);
    t.x_ = x;
    t.f_ = f;
    domain_.AddTrial(t);
    solSet_.push_back(t);
    if (f < bestF_) {
        bestF_ = f;
        bestX_ = x;
    }
}

void MDGS::DispMinimizers() const {
    std::ostringstream out;
    for (const Trial& t : solSet_) out << t << "\n";
    MESSAGE(1, "%s", out.str().c_str());
}

bool MDGS::Search(int component, RVector& x) {
    if (!ValidDomain(domain_) || n_ == 0) return false;
    if (component >= 0 && (n_ != 1 || component >= x.size())) return false;
    component_ = component;
    if (component_ >= 0) {
        full_ = x;
        fullGradient_ = RVector(x.size());
    }
    eps_ = eps();
    if (params_.det_pnts > 2 * n_ + 1) {
        WARNING("Reducing det_pnts to %d\n", 2 * n_ + 1);
        params_.det_pnts = 2 * n_ + 1;
    }
    startTime_ = clock_();
    garbage_ = BoxQueue();
    unexplored_ = BoxQueue();
    unexplored_.push(domain_);

    bool timeOut = false;
    while (!timeOut && InTime()) {
        ++outerIterations_;
        MESSAGE(4, "OUTER ITERATION %d\n", outerIterations_);
        _MessageHelper::indent(2);
        while (!unexplored_.empty()) {
            ++innerIterations_;
            if (innerIterations_ % 1000 == 0)
                MESSAGE(4, "Iteration... %d #CS=%d\n", innerIterations_, static_cast<int>(solSet_.size()));
            TBox box = unexplored_.top();
            unexplored_.pop();
            if (_MessageHelper::enabled(5)) {
                std::ostringstream text;
                text << box;
                MESSAGE(5, "INNER ITERATION %d\n", innerIterations_);
                MESSAGE(5, "Processing %d trials in the box %s\n", params_.det_pnts + params_.rnd_pnts,
                        text.str().c_str());
            }
            ReduceOrSubdivide(box);
            if (!InTime()) {
                timeOut = true;
                MESSAGE(4, "Time %gs EXPIRED\n", GetTime());
                break;
            }
        }
        MESSAGE(5, "*** Inner loop completed ***\n");
        _MessageHelper::outdent(2);

        // Minimisers that a later box has beaten by more than ftol go.
        const double limit = fbound_ + params_.ftol;
        std::vector<Trial> kept;
        for (Trial& t : solSet_)
            if (!(t.f_ > limit)) kept.push_back(std::move(t));
        solSet_.swap(kept);

        if (timeOut || !InTime()) break;
        if (_MessageHelper::enabled(5)) {
            MESSAGE(5, "Current set of minimizers (%d)\n", static_cast<int>(solSet_.size()));
            DispMinimizers();
        }
        // The next pass cuts every box set aside; with nothing left to cut,
        // or with more boxes than a search may hold, the search has ended.
        if (garbage_.empty() || unexplored_.size() + 2 * garbage_.size() > kMaxBoxes) {
            MESSAGE(4, "No box left to cut after %gs\n", GetTime());
            break;
        }
        while (!garbage_.empty()) {
            subdivide(garbage_.top());
            garbage_.pop();
        }
    }

    MESSAGE(4, "Number of outer iterations : %d\n", outerIterations_);
    MESSAGE(4, "Number of inner iterations : %d\n", innerIterations_);
    MESSAGE(5, "Number of unexplored boxes : %d\n", static_cast<int>(unexplored_.size()));
    MESSAGE(5, "Number of boxes in garbage : %d\n", static_cast<int>(garbage_.size()));
    MESSAGE(5, "Number of elements in SolSet : %d\n", static_cast<int>(solSet_.size()));
    MESSAGE(5, "Number of function evaluations : %d\n", static_cast<int>(numFunction_));
    MESSAGE(5, "Number of gradient evaluations : %d\n", static_cast<int>(numGradient_));
    if (component_ >= 0) {
        // The best minimiser, or the best point evaluated when none converged.
        const Trial* best = nullptr;
        for (const Trial& t : solSet_)
            if (best == nullptr || t.f_ < best->f_) best = &t;
        if (best != nullptr) x[component_] = best->x_[0];
        else if (bestF_ < DBL_MAX) x[component_] = bestX_[0];
    }
    component_ = -1;
    return true;
}

void MDGS::subdivide(const TBox& box) {
    TBox b1(n_), b2(n_);
    box.split(b1, b2);
    unexplored_.push(std::move(b1));
    unexplored_.push(std::move(b2));
}

void MDGS::ReduceOrSubdivide(TBox& box) {
    int soft = 0;
    const double L = NewtonTest(box, &soft);
    const int n = box.NStationary();
    if (n == 0) garbage_.push(box);
    else if (n == 1 && soft == 0) garbage_.push(box);
    else if ((n < 2 || box.LowerBound(L) <= fbound_) && unexplored_.size() + garbage_.size() + 2 <= kMaxBoxes)
        subdivide(box);
    else garbage_.push(box);
    if (box.fmin_ < fbound_) {
        fbound_ = box.fmin_;
        MESSAGE(5, "*** Improving fbound, fbound=%g\n", fbound_);
    }
}

double MDGS::NewtonTest(TBox& box, int* soft) {
    TBox starts(n_);
    starts.lb_ = box.lb_;
    starts.ub_ = box.ub_;
    FillRegular(starts, box);
    FillRandom(starts, box);
    double slope = 0.0;
    *soft = 0;
    Trial t(n_);
    while (!starts.EmptyBox() && InTime()) {
        starts.RemoveTrial(t);
        const int result = localSearch(t, box, domain_, params_.closeTol, &slope);
        if (result == LEFT_BOX) ++*soft;
        if (result == CONVERGED) {
            box.AddTrial(t);
            if (fbound_ + params_.ftol >= t.f_ && box.fmin_ + params_.ftol >= t.f_) solSet_.push_back(t);
        }
    }
    return slope;
}

// The midpoint, then along each coordinate in turn the midpoint moved by
// +spread and -spread times the coordinate's width, det_pnts points in all.
void MDGS::FillRegular(TBox& target, const TBox& box) const {
    if (params_.det_pnts < 1) return;
    Trial t(n_);
    box.Midpoint(t.x_);
    target.AddTrial(t);
    int count = 1;
    for (int i = 0; i < n_ && count < params_.det_pnts; ++i) {
        const double mid = t.x_[i];
        for (double sign : {1.0, -1.0}) {
            if (count >= params_.det_pnts) break;
            t.x_[i] = mid + sign * params_.spread * box.Width(i);
            target.AddTrial(t);
            ++count;
        }
        t.x_[i] = mid;
    }
}

void MDGS::FillRandom(TBox& target, const TBox& box) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Trial t(n_);
    for (int k = 0; k < params_.rnd_pnts; ++k) {
        for (int i = 0; i < n_; ++i) t.x_[i] = box.lb_[i] + box.Width(i) * unit(random_);
        target.AddTrial(t);
    }
}
