// The abstract input function: the time curve that drives a compartment model
// (arterial plasma activity or a reference-tissue curve).
//
// Models never integrate an input themselves; they ask it for the two
// convolutions with an exponential,
//
//   convExp(k, t)     = int_0^t exp(-k s) C(t - s) ds
//   convTimeExp(k, t) = int_0^t exp(-k s) (t - s) C(t - s) ds,
//
// which every concrete input answers in closed form where it can. This class
// supplies the numerical fallback for both (Romberg integration), the result
// caches that make a fit affordable, cloning by type name and region
// averaging. Its value depends on the voxel, since its parameters may be maps.
#ifndef KINETRA_INPUTFUNCTION_H
#define KINETRA_INPUTFUNCTION_H

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "Optimizable.h"

class Dataset;
class VOI;

// A table from a pair of doubles to a double, keyed by the exact bit patterns
// of the two numbers: no tolerance, no rounding (so 0.0 and -0.0 are two keys,
// and a NaN key is found again). It stands for "a map from k to a map from t
// to a value"; a one-level map uses the pair (0.0, t).
//
// Open addressing with linear probing in a power-of-two table kept at most
// half full, so a probe is a hash and one or two slot compares. Clearing is
// O(1): every slot carries the generation in which it was written, and only
// slots of the current generation count. Memory is kept across clearings, so
// a cleared cache refills without allocating.
class ExactKeyCache {
public:
    bool find(double k, double t, double* value) const {
        if (size_ == 0) return false;
        const std::uint64_t kb = bits(k), tb = bits(t);
        for (std::size_t i = hash(kb, tb) & mask_;; i = (i + 1) & mask_) {
            const Slot& s = slots_[i];
            if (s.generation != generation_) return false;
            if (s.k == kb && s.t == tb) {
                *value = s.value;
                return true;
            }
        }
    }
    // Inserts the pair; an existing key keeps its value.
    void insert(double k, double t, double value);
    void clear();
    // Entries present (distinct keys).
    std::size_t size() const { return size_; }

private:
    struct Slot {
        std::uint64_t k;
        std::uint64_t t;
        double value;
        std::uint32_t generation;
    };

    static std::uint64_t bits(double d) {
        std::uint64_t b;
        std::memcpy(&b, &d, sizeof b);
        return b;
    }
    // splitmix64 finaliser over both keys: good spread for the regular bit
    // patterns of frame times and rate constants.
    static std::size_t hash(std::uint64_t k, std::uint64_t t) {
        std::uint64_t h = k * 0x9E3779B97F4A7C15ULL ^ (t + 0x632BE59BD9B4E019ULL);
        h ^= h >> 30;
        h *= 0xBF58476D1CE4E5B9ULL;
        h ^= h >> 27;
        h *= 0x94D049BB133111EBULL;
        h ^= h >> 31;
        return static_cast<std::size_t>(h);
    }
    void grow();

    std::vector<Slot> slots_;
    std::size_t mask_ = 0;
    std::size_t size_ = 0;
    std::uint32_t generation_ = 1;  // slots start at generation 0: empty
};

class InputFunction : public Optimizable {
public:
    InputFunction(const std::string& name, const Unit& unit);
    // Copies the Optimizable part (Optimizable's copy rules), numconv_,
    // result_, scale_, the three caches, the count and the limit.
    InputFunction(const InputFunction& other);
    ~InputFunction() override;

    double operator()(double t, unsigned x, unsigned y, unsigned z) override = 0;
    // A clone (see clone) whose parameters are the region means over `voi`,
    // as 1x1x1 maps; null if this type cannot be cloned. Owned by the caller.
    InputFunction* createAverage(const VOI* voi) override;

    // The numerical convolutions (Romberg integration of the integrand from 0
    // to t). Concrete classes override them with closed forms and fall back
    // on these when numconv_ is set.
    virtual double convExp(double k, double t, unsigned x, unsigned y, unsigned z);
    virtual double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z);
    // The input and its two convolutions at rate k for the times t[0..T-1]:
    // value[i] = C(t[i]), conv[i] = convExp(k, t[i]), convT[i] =
    // convTimeExp(k, t[i]), the numbers of those calls, made here in that
    // order frame by frame. A class overrides it with one pass over the frames.
    virtual void convolveFrames(double k, const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                double* value, double* conv, double* convT);
    // Takes initial parameter values from measured data.
    virtual void initParameters(const Dataset* data, const VOI* voi) = 0;
    // (Re)builds the parameter set from a list of numbers; nothing here.
    virtual void init(const std::vector<double>& values);

    // The factory of the input functions: a copy of the concrete class named
    // by type_; null (after a report) for a type that cannot be cloned.
    InputFunction* clone() const;
    // A faithful copy of any input class for a worker thread of a fit
    // (flags included), owned by the caller; null, without a report, for a
    // class outside the table.
    InputFunction* duplicate() const;

    // Drops every parameter and rebuilds the set through init() with n zeros.
    void resize(unsigned n);
    // Whether n parameters make a whole set of this class: false, after a
    // message saying why, for a count that resize must refuse. Any count
    // here.
    virtual bool checkSize(long n) const {
        (void)n;
        return true;
    }

    bool getNumConv() const { return numconv_; }
    // The caches hold results of the old way: the next call starts them anew.
    void setNumConv(bool numconv) {
        numconv_ = numconv;
        changed_ = true;
    }
    double getScale() const { return scale_; }
    unsigned getCacheLimit() const { return cacheLimit_; }
    void setCacheLimit(unsigned limit) { cacheLimit_ = limit; }
    unsigned getCacheCount() const { return cacheCount_; }

    // The caches, keyed by the exact doubles t, and (k, t). Inserting counts
    // every insertion (also of a key present already) and never checks the
    // limit; checkCacheSize, called between voxels, empties the caches when
    // more than cacheLimit_ entries went in since the last clearing.
    bool cacheCheck(double t, double* value) const { return valueCache_.find(0.0, t, value); }
    void cacheInsert(double t, double value) {
        valueCache_.insert(0.0, t, value);
        ++cacheCount_;
    }
    bool cacheConvExpCheck(double k, double t, double* value) const { return convExpCache_.find(k, t, value); }
    void cacheConvExpInsert(double k, double t, double value) {
        convExpCache_.insert(k, t, value);
        ++cacheCount_;
    }
    bool cacheConvTimeExpCheck(double k, double t, double* value) const {
        return convTimeExpCache_.find(k, t, value);
    }
    void cacheConvTimeExpInsert(double k, double t, double value) {
        convTimeExpCache_.insert(k, t, value);
        ++cacheCount_;
    }
    void cacheClear();
    void checkCacheSize();

    // The input function classes, one row each, in the workspace's order.
    struct Type {
        const char* type;     // the class's type_
        const char* unit;     // the unit of the workspace's default object
        unsigned size;        // parameters of the default object (resize); 0: none
        InputFunction* (*make)(const std::string& name, const Unit& unit);
        InputFunction* (*copy)(const InputFunction&);  // null: cannot be cloned
        InputFunction* (*duplicate)(const InputFunction&);  // every class: see duplicate()
    };
    static const std::vector<Type>& types();

protected:
    // For the concrete classes: their own type name replaces "InputFunction".
    void setType(const std::string& type) { type_ = type; }

    // The one step by which the caches follow the parameters and the voxel,
    // which their keys do not record: if a parameter was written (changed_)
    // or (x, y, z) is not the voxel of the last call, the caches are cleared,
    // the voxel is stored, changed_ is cleared and the answer is true, so that
    // the concrete class reloads its own coefficients.
    bool refresh(unsigned x, unsigned y, unsigned z) {
        if (!takeVoxel(x, y, z)) return false;
        cacheClear();
        return true;
    }
    // The key part of refresh alone, for a class without base caches: true if
    // parameters or voxel changed; the voxel is stored, changed_ cleared.
    bool takeVoxel(unsigned x, unsigned y, unsigned z) {
        if (!changed_ && x == x_ && y == y_ && z == z_) return false;
        x_ = x;
        y_ = y;
        z_ = z;
        changed_ = false;
        return true;
    }
    // Look-up, else compute() and insert (counted like the insert functions):
    // the value cache is keyed (0.0, t), the convolution caches (k, t).
    template <class F>
    double cached(ExactKeyCache& cache, double k, double t, F compute) {
        double value;
        if (cache.find(k, t, &value)) return value;
        value = compute();
        cache.insert(k, t, value);
        ++cacheCount_;
        return value;
    }

    bool numconv_;
    double result_;
    double scale_;
    ExactKeyCache valueCache_;
    ExactKeyCache convExpCache_;
    ExactKeyCache convTimeExpCache_;
    unsigned cacheCount_;
    unsigned cacheLimit_;
};

std::ostream& operator<<(std::ostream& out, const InputFunction& input);

#endif
