// The result caches of the input functions.
#include "InputFunction.h"

#include "util/Message.h"

void ExactKeyCache::insert(double k, double t, double value) {
    if (2 * (size_ + 1) > slots_.size()) grow();
    const std::uint64_t kb = bits(k), tb = bits(t);
    for (std::size_t i = hash(kb, tb) & mask_;; i = (i + 1) & mask_) {
        Slot& s = slots_[i];
        if (s.generation != generation_) {
            s = Slot{kb, tb, value, generation_};
            ++size_;
            return;
        }
        if (s.k == kb && s.t == tb) return;  // present: keeps its value
    }
}

// Doubles the table (64 slots at first) and moves the live entries over.
void ExactKeyCache::grow() {
    std::vector<Slot> old;
    old.swap(slots_);
    const std::size_t capacity = old.empty() ? 64 : 2 * old.size();
    slots_.assign(capacity, Slot{0, 0, 0.0, 0});
    mask_ = capacity - 1;
    const std::uint32_t live = generation_;
    generation_ = 1;
    for (const Slot& s : old) {
        if (s.generation != live) continue;
        for (std::size_t i = hash(s.k, s.t) & mask_;; i = (i + 1) & mask_) {
            if (slots_[i].generation != generation_) {
                slots_[i] = Slot{s.k, s.t, s.value, generation_};
                break;
            }
        }
    }
}

void ExactKeyCache::clear() {
    size_ = 0;
    if (++generation_ == 0) {
        // After 2^32 clearings the stamps wrap: wipe the slots once.
        for (Slot& s : slots_) s.generation = 0;
        generation_ = 1;
    }
}

void InputFunction::cacheClear() {
    valueCache_.clear();
    convExpCache_.clear();
    convTimeExpCache_.clear();
    MESSAGE(4, "%s(%s) CACHE OF SIZE %u CLEARED\n", name_.c_str(), type_.c_str(), cacheCount_);
    cacheCount_ = 0;
}

// Called by the optimizer after each finished voxel. Inserting never checks
// the limit, so within one voxel the caches grow freely.
void InputFunction::checkCacheSize() {
    if (cacheCount_ > cacheLimit_) cacheClear();
}
