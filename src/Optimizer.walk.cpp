// The voxel walk of a run: on the calling thread, or on worker threads.
//
// A worker is a copy of the optimizer (makeWorker) fitting a faithful copy
// of the optimizable, with its own working set, so that nothing a voxel's
// fit changes is shared. Workers take voxels in walk order from a counter
// and keep, per voxel, what the serial walk would have left: the texts it
// printed (MessageCapture), its record, and the value and error of every
// parameter at the voxel. The calling thread is one of the workers: between
// the chunks it fits, it takes the results over voxel by voxel in walk
// order, prints the texts, writes maps and record, and asks the progress
// hook, exactly as the serial walk does after each voxel; so the printed
// text and every number are those of the serial walk. Only the calling
// thread touches the host.
#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizable.h"
#include "Optimizer.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/Threads.h"

Optimizer* Optimizer::makeWorker(Optimizable*) const { return nullptr; }

Optimizer::Optimizer(const Optimizer& master, Optimizable* model)
    : StopSettings(master),
      statusfile(master.statusfile),
      data_(master.data_),
      error_(master.error_),
      voi_(master.voi_),
      model_(model),
      parameterIndex_(master.parameterIndex_),
      fitted_(master.fitted_),
      linkDrivers_(master.linkDrivers_),
      parameters_(master.parameters_),
      chisquare_(0.0),
      x_(0),
      y_(0),
      z_(0),
      reasons_(master.reasons_),
      name_(master.name_),
      totalTime_(0.0),
      startTime_(0.0),
      timerCount_(0),
      covariance_(0, 0),
      update_(nullptr),
      settings_(master.settings_),
      times_(master.times_) {}

void Optimizer::run() {
    if (!prepare()) {
        data_ = lastRun_.data;
        error_ = lastRun_.error;
        voi_ = lastRun_.voi;
        model_ = lastRun_.model;
        return;
    }
    lastRun_ = WorkingSet{data_, error_, voi_, model_};
    runMask_.reset(voi_ != nullptr ? new VOI(*voi_) : nullptr);
    const unsigned X = data_->getDimensionX(), Y = data_->getDimensionY(), Z = data_->getDimensionZ();
    // The active voxels, x outermost and z innermost, one per record.
    std::vector<WalkVoxel> voxels;
    for (unsigned x = 0; x < X; ++x)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned z = 0; z < Z; ++z)
                if (isActive(x, y, z) && voxels.size() < parameters_.size()) voxels.push_back(WalkVoxel{x, y, z});
    Voxel voxel(data_->getDimensionT(), getNumFitted(), error_ != nullptr);
    voxel.count = static_cast<unsigned>(parameters_.size());
    voxel.times = modelTimes();
    if (!beginRun(voxel)) {
        x_ = y_ = z_ = 0;
        return;
    }
    voxelsWalked_ = 0;
    heldData_ = heldError_ = HeldCurve();
    const unsigned threads = std::min<unsigned>(threadCount(), static_cast<unsigned>(voxels.size()));
    if (threads < 2 || !walkParallel(voxels, threads)) walkSerial(voxels, voxel);
    // Where the loops over the grid leave the voxel in work.
    x_ = X;
    y_ = Y;
    z_ = Z;
    heldData_ = heldError_ = HeldCurve();
    endRun(voxel);
    finish();
}

void Optimizer::walkSerial(const std::vector<WalkVoxel>& voxels, Voxel& voxel) {
    for (unsigned i = 0; i < voxels.size(); ++i) {
        x_ = voxel.x = voxels[i].x;
        y_ = voxel.y = voxels[i].y;
        z_ = voxel.z = voxels[i].z;
        voxel.number = i;
        fitVoxel(voxel);
        ++voxelsWalked_;
        if (!update(UpdateAction(1))) {
            stopByUser();
            return;
        }
    }
}

// What a worker leaves of one voxel for the calling thread.
struct Optimizer::VoxelResult {
    MessageCapture texts;
    OptimizerParameters record;
    std::vector<double> value, error;  // every parameter's, at the voxel
    double seconds = 0.0;              // the voxel's share of the timers
    int timed = 0;
};

// One worker thread: its optimizer and the copies it fits.
struct Optimizer::Worker {
    std::unique_ptr<Model> model;
    std::vector<std::unique_ptr<InputFunction>> inputs;
    std::unique_ptr<Optimizer> optimizer;
};

namespace {

// The stored (linear) value and error of every parameter at a voxel.
void readVoxel(const Optimizable& model, unsigned x, unsigned y, unsigned z, std::vector<double>& value,
               std::vector<double>& error) {
    const unsigned n = model.getNumParameters();
    value.resize(n);
    error.resize(n);
    for (unsigned i = 0; i < n; ++i) {
        const Parameter& p = model.getParameterByIndex(i);
        value[i] = p.getValueVolume() != nullptr ? p.valueAt(x, y, z) : 0.0;
        error[i] = p.getErrorVolume() != nullptr ? p.errorAt(x, y, z) : 0.0;
    }
}

void writeVoxel(Optimizable& model, unsigned x, unsigned y, unsigned z, const std::vector<double>& value,
                const std::vector<double>& error) {
    for (unsigned i = 0; i < model.getNumParameters() && i < value.size(); ++i) {
        Parameter& p = model.getParameterByIndex(i);
        if (Dataset3D<double>* v = p.getValueVolume()) (*v)(x, y, z) = value[i];
        if (Dataset3D<double>* e = p.getErrorVolume()) (*e)(x, y, z) = error[i];
    }
    model.setChanged(true);
}

}  // namespace

bool Optimizer::walkParallel(const std::vector<WalkVoxel>& voxels, unsigned threads) {
    const Model* master = dynamic_cast<const Model*>(model_);
    if (master == nullptr) return false;
    // The copies are the walk's own: what making and destroying them would
    // print (cache reports of the inputs, say) is no part of the run's text.
    MessageCapture unprinted;
    std::vector<Worker> workers(threads);
    struct Discard {
        std::vector<Worker>& workers;
        MessageCapture& unprinted;
        ~Discard() {
            MessageCapture::Scope quiet(unprinted, "");
            workers.clear();
        }
    } discard{workers, unprinted};
    {
        MessageCapture::Scope quiet(unprinted, "");
        for (Worker& w : workers) {
            std::vector<InputFunction*> inputs;
            w.model.reset(master->duplicate(inputs));
            for (InputFunction* input : inputs) w.inputs.emplace_back(input);
            if (!w.model) return false;
            w.optimizer.reset(makeWorker(w.model.get()));
            if (!w.optimizer) return false;
        }
    }

    const unsigned n = static_cast<unsigned>(voxels.size());
    // Voxels go out in chunks of consecutive ones, so that threads meet
    // once per chunk rather than once per voxel; workers run at most
    // `window` chunks ahead of the calling thread, which bounds the texts
    // and results held.
    const unsigned chunk = std::max(1u, std::min(32u, n / (8 * threads)));
    const unsigned chunks = (n + chunk - 1) / chunk;
    const unsigned window = std::min(chunks, 8 * threads);
    std::vector<VoxelResult> results(static_cast<size_t>(window) * chunk);
    std::vector<char> done(window, 0);
    std::mutex mutex;
    std::condition_variable doneOne, takenOne;
    unsigned next = 0, taken = 0;  // chunks handed out, chunks taken over
    bool stop = false;
    const std::string indent = _MessageHelper::indent_;
    const unsigned T = data_->getDimensionT();
    const unsigned P = getNumFitted();
    const unsigned count = static_cast<unsigned>(parameters_.size());

    // Each worker's working set, prepared for the run as the calling
    // thread's was (beginRun), without its texts, which that one printed.
    std::vector<std::unique_ptr<Voxel>> sets;
    {
        MessageCapture::Scope quiet(unprinted, "");
        for (Worker& w : workers) {
            sets.emplace_back(new Voxel(T, P, error_ != nullptr));
            sets.back()->count = count;
            sets.back()->times = modelTimes();
            if (!w.optimizer->beginRun(*sets.back())) return false;
        }
    }

    // Fits chunk c on a worker's copies and leaves its results in its slot.
    auto fitChunk = [&](Worker& w, Voxel& voxel, unsigned c) {
        Optimizer& o = *w.optimizer;
        for (unsigned i = c * chunk; i < std::min(n, (c + 1) * chunk); ++i) {
            VoxelResult& r = results[static_cast<size_t>(c % window) * chunk + (i - c * chunk)];
            o.x_ = voxel.x = voxels[i].x;
            o.y_ = voxel.y = voxels[i].y;
            o.z_ = voxel.z = voxels[i].z;
            voxel.number = i;
            const double seconds = o.totalTime_;
            const int timed = o.timerCount_;
            {
                MessageCapture::Scope scope(r.texts, indent);
                o.fitVoxel(voxel);
            }
            r.record = o.parameters_[i];
            readVoxel(*o.model_, voxel.x, voxel.y, voxel.z, r.value, r.error);
            r.seconds = o.totalTime_ - seconds;
            r.timed = o.timerCount_ - timed;
        }
        std::lock_guard<std::mutex> lock(mutex);
        done[c % window] = 1;
        doneOne.notify_all();
    };
    // A pool thread takes the next chunk while the window allows, until none is left.
    auto work = [&](Worker& w, Voxel& voxel) {
        for (;;) {
            unsigned c;
            {
                std::unique_lock<std::mutex> lock(mutex);
                takenOne.wait(lock, [&] { return stop || next >= chunks || next < taken + window; });
                if (stop || next >= chunks) return;
                c = next++;
            }
            fitChunk(w, voxel, c);
        }
    };
    // The calling thread is one of the workers (copy 0); the others run on
    // the pool.
    std::vector<std::thread> pool;
    try {
        for (unsigned i = 1; i < workers.size(); ++i) pool.emplace_back(work, std::ref(workers[i]), std::ref(*sets[i]));
    } catch (...) {
        // Fewer threads than asked for share the voxels; with none, the
        // calling thread fits them all.
    }

    bool stopped = false;
    for (unsigned c = 0; c < chunks && !stopped; ++c) {
        // Until chunk c is done, the calling thread fits chunks itself.
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex);
            if (done[c % window] != 0) break;
            if (next < chunks && next < taken + window) {
                const unsigned mine = next++;
                lock.unlock();
                fitChunk(workers[0], *sets[0], mine);
                continue;
            }
            doneOne.wait(lock, [&] { return done[c % window] != 0; });
            break;
        }
        for (unsigned i = c * chunk; i < std::min(n, (c + 1) * chunk); ++i) {
            VoxelResult& r = results[static_cast<size_t>(c % window) * chunk + (i - c * chunk)];
            x_ = voxels[i].x;
            y_ = voxels[i].y;
            z_ = voxels[i].z;
            r.texts.replay();
            r.texts.clear();
            writeVoxel(*model_, x_, y_, z_, r.value, r.error);
            // The record's time is the run's running total, as the serial walk keeps it.
            totalTime_ += r.seconds;
            timerCount_ += r.timed;
            parameters_[i] = r.record;
            parameters_[i].time_ = totalTime_;
            ++voxelsWalked_;
            if (!update(UpdateAction(1))) {
                stopByUser();
                stopped = true;
                break;
            }
        }
        std::lock_guard<std::mutex> lock(mutex);
        done[c % window] = 0;
        ++taken;
        takenOne.notify_all();
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
        takenOne.notify_all();
    }
    for (std::thread& t : pool) t.join();
    return true;
}
