// Boxes and trials of the box search.
#include "boxsearch/MDGS_tools.h"

#include <algorithm>
#include <cmath>

void VBox::Midpoint(RVector& m) const {
    for (int i = 0; i < GetDim(); ++i) m[i] = lb_[i] + std::fabs(ub_[i] - lb_[i]) / 2.0;
}

void TBox::AddTrial(const Trial& t) {
    trials_.push_back(t);
    if (t.f_ < fmin_) fmin_ = t.f_;
}

void TBox::RemoveTrial(Trial& t) {
    if (trials_.empty()) return;
    t = std::move(trials_.back());
    trials_.pop_back();
}

void TBox::GetLastTrial(Trial& t) const {
    if (!trials_.empty()) t = trials_.back();
}

void TBox::ClearBox() {
    trials_.clear();
    fmin_ = DBL_MAX;
}

namespace {

double distance(const RVector& a, const RVector& b) {
    double sum = 0.0;
    for (int i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return std::sqrt(sum);
}

}  // namespace

bool TBox::CloseToMin(RVector& x, double* f, double tol) const {
    for (const Trial& t : trials_) {
        if (distance(x, t.x_) < tol) {
            x = t.x_;
            *f = t.f_;
            return true;
        }
    }
    return false;
}

// The cut goes through the mean of the trials in the coordinate where they
// spread most, so that clusters of stationary points fall apart; without
// two trials the longest side is halved. A mean on or beyond a face (all
// trials there, or one ulp of rounding past the bound) would leave a half
// of zero width or a half outside this box: the cut is then the midpoint.
void TBox::split(TBox& b1, TBox& b2) const {
    b1.lb_ = b2.lb_ = lb_;
    b1.ub_ = b2.ub_ = ub_;
    const int n = GetDim();
    if (n == 0) return;
    int k;
    LongestSide(&k);
    double cut = lb_[k] + (ub_[k] - lb_[k]) / 2.0;
    if (trials_.size() > 1) {
        RVector mean(n);
        for (const Trial& t : trials_) axpy(1.0, t.x_, mean);
        scal(1.0 / static_cast<double>(trials_.size()), mean);
        double largest = -1.0;
        int c = 0;
        for (int i = 0; i < n; ++i) {
            double var = 0.0;
            for (const Trial& t : trials_) var += (t.x_[i] - mean[i]) * (t.x_[i] - mean[i]);
            var /= static_cast<double>(trials_.size());
            if (var > largest) {
                largest = var;
                c = i;
            }
        }
        if (mean[c] > lb_[c] && mean[c] < ub_[c]) {
            k = c;
            cut = mean[c];
        }
    }
    b1.ub_[k] = cut;
    b2.lb_[k] = cut;
    for (const Trial& t : trials_) (b1.InsideBox(t.x_) ? b1 : b2).AddTrial(t);
}

bool TBox::InsideBox(const RVector& x) const {
    for (int i = 0; i < GetDim(); ++i)
        if (!(x[i] >= lb_[i] && x[i] <= ub_[i])) return false;
    return true;
}

// A point inside this box but outside the domain cannot happen while every
// box lies in the domain (the cuts stay inside it); should it happen all
// the same, the point counts as outside the domain rather than ending the
// process.
int TBox::OutsideBox(const RVector& x, const TBox& domain) const {
    if (!domain.InsideBox(x)) return OUT_OF_DOMAIN;
    return InsideBox(x) ? IN_BOX : OUT_OF_BOX;
}

double TBox::ShortestSide(int* i) const {
    double w = DBL_MAX;
    int k = 0;
    for (int j = 0; j < GetDim(); ++j)
        if (Width(j) < w) {
            w = Width(j);
            k = j;
        }
    if (i != nullptr) *i = k;
    return w;
}

double TBox::LongestSide(int* i) const {
    double w = -DBL_MAX;
    int k = 0;
    for (int j = 0; j < GetDim(); ++j)
        if (Width(j) > w) {
            w = Width(j);
            k = j;
        }
    if (i != nullptr) *i = k;
    return w;
}

double TBox::ClosestSide(const RVector& x) const {
    double d = DBL_MAX;
    for (int j = 0; j < GetDim(); ++j) d = std::min(d, std::min(x[j] - lb_[j], ub_[j] - x[j]));
    return d;
}

double TBox::FarthestSide(const RVector& x) const {
    double d = -DBL_MAX;
    for (int j = 0; j < GetDim(); ++j) d = std::max(d, std::min(x[j] - lb_[j], ub_[j] - x[j]));
    return d;
}

double TBox::LowerBound(double L) const {
    double bound = fmin_;
    for (size_t a = 0; a < trials_.size(); ++a)
        for (size_t b = a + 1; b < trials_.size(); ++b) {
            const double candidate = (trials_[a].f_ + trials_[b].f_ - L * distance(trials_[a].x_, trials_[b].x_)) / 2.0;
            if (candidate < bound) bound = candidate;
        }
    return bound;
}

std::ostream& operator<<(std::ostream& out, const Trial& t) { return out << t.x_ << " f=" << t.f_; }

std::ostream& operator<<(std::ostream& out, const VBox& b) { return out << "lb=" << b.lb_ << " ub=" << b.ub_; }

std::ostream& operator<<(std::ostream& out, const TBox& b) {
    out << static_cast<const VBox&>(b) << " fmin=" << b.fmin_ << " trials=" << b.NStationary();
    for (const Trial& t : b.Trials()) out << "\n  " << t;
    return out;
}
