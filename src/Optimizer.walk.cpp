// The voxel walk of a run: on the calling thread, or on worker threads.
//
// A worker is a copy of the optimizer (makeWorker) fitting a faithful copy
// of the optimizable, with its own working set, so that nothing a voxel's
// fit changes is shared. Workers take voxels in walk order from a counter
// and keep, per voxel, what the serial walk would have left: the texts it
// printed (MessageCapture), its record, and the value and error of every
// parameter at the voxel. The calling thread fits too, on the run's own
// optimizer and optimizable, as the serial walk does, keeping only its
// texts aside. Between the chunks it fits, it takes the results over voxel
// by voxel in walk order, prints the texts, writes maps and record, and asks
// the progress hook, exactly as the serial walk does after each voxel; so
// the printed text and every number are those of the serial walk. Only the
// calling thread touches the host.
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
      // A worker keeps one record, the voxel's in work: the run's records
      // are the calling thread's, which hands each voxel's over.
      parameters_(master.parameters_.begin(), master.parameters_.begin() + std::min<size_t>(1, master.parameters_.size())),
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
    if (threads < 2 || !walkParallel(voxels, threads, voxel)) walkSerial(voxels, voxel);
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
        voxel.number = voxel.slot = i;
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
    // Fitted by the calling thread, in place: the record and values are
    // then those the voxel had before.
    bool own = false;
};

// One worker thread: its optimizer and the copies it fits.
struct Optimizer::Worker {
    std::unique_ptr<Model> model;
    std::vector<std::unique_ptr<InputFunction>> inputs;
    std::unique_ptr<Optimizer> optimizer;
    std::unique_ptr<Voxel> voxel;  // its working set
    MessageCapture unprinted;      // what making its copies printed
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

// Lends the walk's report words to a model and its inputs (see
// Optimizable::lendReports) and takes the reports back at the end.
class ReportLoan {
public:
    explicit ReportLoan(Model& model) {
        objects_.push_back(&model);
        for (unsigned i = 0; i < model.getNumInputs(); ++i)
            if (model.getInput(i) != nullptr) objects_.push_back(model.getInput(i));
        words_.resize(objects_.size());
        for (size_t k = 0; k < objects_.size(); ++k) previous_.push_back(objects_[k]->lendReports(&words_[k]));
    }
    ~ReportLoan() {
        // In reverse, so that an object listed twice ends with its own word.
        for (size_t k = objects_.size(); k-- > 0;) objects_[k]->takeReports(previous_[k]);
    }
    ReportLoan(const ReportLoan&) = delete;
    ReportLoan& operator=(const ReportLoan&) = delete;

private:
    std::vector<Optimizable*> objects_;
    std::vector<unsigned> words_;
    std::vector<unsigned*> previous_;
};

}  // namespace

bool Optimizer::walkParallel(const std::vector<WalkVoxel>& voxels, unsigned threads, Voxel& own) {
    Model* master = dynamic_cast<Model*>(model_);
    if (master == nullptr) return false;
    // The calling thread fits on the run's own objects; the reports they
    // print once per cause are kept in the walk's words meanwhile.
    ReportLoan loan(*master);
    // The copies are the walk's own: what making and destroying them would
    // print (cache reports of the inputs, say) is no part of the run's text.
    MessageCapture unprinted;
    std::vector<Worker> workers(threads - 1);
    struct Discard {
        std::vector<Worker>& workers;
        MessageCapture& unprinted;
        ~Discard() {
            MessageCapture::Scope quiet(unprinted, "");
            workers.clear();
        }
    } discard{workers, unprinted};
    const unsigned T = data_->getDimensionT();
    const unsigned P = getNumFitted();
    const unsigned count = static_cast<unsigned>(parameters_.size());
    const bool weighted = error_ != nullptr;
    const std::vector<double> times = modelTimes();
    // A worker's copies of `model` and `optimizer`, its working set
    // prepared for the run as the calling thread's was (beginRun); the
    // texts go to the caller's capture, since the calling thread printed them.
    auto makeCopies = [&](Worker& w, const Model& model, const Optimizer& optimizer) {
        std::vector<InputFunction*> inputs;
        w.model.reset(model.duplicate(inputs));
        for (InputFunction* input : inputs) w.inputs.emplace_back(input);
        if (!w.model) return false;
        w.optimizer.reset(optimizer.makeWorker(w.model.get()));
        if (!w.optimizer) return false;
        w.voxel.reset(new Voxel(T, P, weighted));
        w.voxel->count = count;
        w.voxel->times = times;
        return w.optimizer->beginRun(*w.voxel);
    };
    // The first worker's copies are made here, from the run's objects; the
    // other workers copy those on their own threads, side by side, while
    // the calling thread fits, and the first worker fits once they have.
    {
        MessageCapture::Scope quiet(unprinted, "");
        if (!makeCopies(workers[0], *master, *this)) return false;
    }
    unsigned copying = static_cast<unsigned>(workers.size()) - 1;  // copies still being made

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
    std::condition_variable doneOne, takenOne, copied;
    unsigned next = 0, taken = 0;  // chunks handed out, chunks taken over
    bool stop = false;
    const std::string indent = _MessageHelper::indent_;

    // Fits chunk c with optimizer o and working set `voxel`, and leaves the
    // results in the chunk's slots. The calling thread's optimizer (this)
    // writes maps and records in place; a copy's record and values go
    // through the slot.
    auto fitChunk = [&](Optimizer& o, Voxel& voxel, unsigned c) {
        const bool mine = &o == this;
        for (unsigned i = c * chunk; i < std::min(n, (c + 1) * chunk); ++i) {
            VoxelResult& r = results[static_cast<size_t>(c % window) * chunk + (i - c * chunk)];
            o.x_ = voxel.x = voxels[i].x;
            o.y_ = voxel.y = voxels[i].y;
            o.z_ = voxel.z = voxels[i].z;
            voxel.number = i;
            voxel.slot = mine ? i : 0;
            if (mine) {
                // What the voxel had, for a stop before it (see below).
                r.record = parameters_[i];
                readVoxel(*model_, voxel.x, voxel.y, voxel.z, r.value, r.error);
            } else {
                o.parameters_[0] = parameters_[i];
            }
            const double seconds = o.totalTime_;
            const int timed = o.timerCount_;
            {
                MessageCapture::Scope scope(r.texts, indent);
                o.fitVoxel(voxel);
            }
            // The timers' share goes into the run's totals at the merge.
            r.seconds = o.totalTime_ - seconds;
            r.timed = o.timerCount_ - timed;
            r.own = mine;
            if (mine) {
                totalTime_ = seconds;
                timerCount_ = timed;
            } else {
                r.record = o.parameters_[0];
                readVoxel(*o.model_, voxel.x, voxel.y, voxel.z, r.value, r.error);
            }
        }
        std::lock_guard<std::mutex> lock(mutex);
        done[c % window] = 1;
        doneOne.notify_all();
    };
    // A pool thread takes the next chunk while the window allows, until none is left.
    auto work = [&](unsigned k) {
        Worker& w = workers[k];
        if (k == 0) {
            std::unique_lock<std::mutex> lock(mutex);
            copied.wait(lock, [&] { return copying == 0; });
        } else {
            bool made = false;
            try {
                MessageCapture::Scope quiet(w.unprinted, "");
                made = makeCopies(w, *workers[0].model, *workers[0].optimizer);
            } catch (...) {
                // Out of memory for a copy: no exception may leave a thread.
            }
            std::lock_guard<std::mutex> lock(mutex);
            if (--copying == 0) copied.notify_all();
            if (!made) return;  // the others share its voxels
        }
        for (;;) {
            unsigned c;
            {
                std::unique_lock<std::mutex> lock(mutex);
                takenOne.wait(lock, [&] { return stop || next >= chunks || next < taken + window; });
                if (stop || next >= chunks) return;
                c = next++;
            }
            fitChunk(*w.optimizer, *w.voxel, c);
        }
    };
    std::vector<std::thread> pool;
    try {
        for (unsigned k = 0; k < workers.size(); ++k) pool.emplace_back(work, k);
    } catch (...) {
        // Fewer threads than asked for share the voxels; with none, the
        // calling thread fits them all. The first worker waits for no copy
        // that an unstarted thread would have made.
        std::lock_guard<std::mutex> lock(mutex);
        if (!pool.empty()) copying -= static_cast<unsigned>(workers.size() - pool.size());
        copied.notify_all();
    }

    unsigned stoppedAfter = n;  // the voxel after which the hook stopped the run
    for (unsigned c = 0; c < chunks && stoppedAfter == n; ++c) {
        // Until chunk c is done, the calling thread fits chunks itself.
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex);
            if (done[c % window] != 0) break;
            if (next < chunks && next < taken + window) {
                const unsigned mine = next++;
                lock.unlock();
                fitChunk(*this, own, mine);
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
            if (!r.own) {
                writeVoxel(*model_, x_, y_, z_, r.value, r.error);
                parameters_[i] = r.record;
            }
            // The record's time is the run's running total, as the serial walk keeps it.
            totalTime_ += r.seconds;
            timerCount_ += r.timed;
            parameters_[i].time_ = totalTime_;
            ++voxelsWalked_;
            if (!update(UpdateAction(1))) {
                stopByUser();
                stoppedAfter = i;
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
    // The voxels after a stop are left as the serial walk leaves them,
    // untouched: what the calling thread fitted of them in place is undone.
    // Every chunk handed out is done now, and its slots are its own.
    for (unsigned i = stoppedAfter + 1; i < std::min(n, next * chunk); ++i) {
        const unsigned c = i / chunk;
        VoxelResult& r = results[static_cast<size_t>(c % window) * chunk + (i - c * chunk)];
        if (!r.own) continue;
        writeVoxel(*model_, voxels[i].x, voxels[i].y, voxels[i].z, r.value, r.error);
        parameters_[i] = r.record;
    }
    return true;
}
