// Filter: the name table, the dispatch by dimension and element type, and the
// operations on volumes (crop, down-sampling, padding, kernel convolution).
#include "util/Filter.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Dataset.visit.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/StringUtil.h"

namespace {

enum class Operation { Crop, Down, Pad, SavGol, TMean, TMedian, TPca };

// One row per named filter: its prefix, and whether it is an operation on
// volumes (3D) or on time curves (4D). On the other class of data a volume
// operation gives one zero per frame, a time operation takes the kernel path.
struct Row {
    const char* prefix;
    Operation operation;
    bool onVolumes;
};

// Matched by prefix in this order.
const Row kRows[] = {
    {"crop", Operation::Crop, true},      {"down", Operation::Down, true},
    {"pad", Operation::Pad, true},        {"savgol", Operation::SavGol, false},
    {"tmean", Operation::TMean, false},   {"tmedian", Operation::TMedian, false},
    {"tpca", Operation::TPca, false},
};

const Row* findRow(const std::string& name) {
    for (const Row& row : kRows)
        if (name.compare(0, std::strlen(row.prefix), row.prefix) == 0) return &row;
    return nullptr;
}

std::string rest(const std::string& name, const Row& row) { return name.substr(std::strlen(row.prefix)); }

// The number after a prefix, read as a number is read anywhere (text that is
// no number gives 0). A negative number would wrap into a huge unsigned
// window: it is refused with a message.
bool parseCount(const std::string& text, unsigned* n) {
    const long long v = string2num<long long>(text);
    if (v < 0) {
        WARNING("invalid filter size '%s'\n", text.c_str());
        return false;
    }
    *n = v > 0xFFFFFFFFLL ? 0xFFFFFFFFu : static_cast<unsigned>(v);
    return true;
}

bool sameGrid(const Dataset& data, const VOI* voi) {
    if (voi == nullptr) return true;
    if (voi->getDimensionX() == data.getDimensionX() && voi->getDimensionY() == data.getDimensionY() &&
        voi->getDimensionZ() == data.getDimensionZ())
        return true;
    ERROR("VOI grid %ux%ux%u differs from the data's %ux%ux%u", voi->getDimensionX(), voi->getDimensionY(),
          voi->getDimensionZ(), data.getDimensionX(), data.getDimensionY(), data.getDimensionZ());
    return false;
}

void warnNoKernel() { WARNING("Filter::compute () no kernel specified\n"); }

// The result of an operation whose out may be null: a temporary of the
// input's class then holds the result, which replaces the input at the end.
template <class D>
class Target {
public:
    Target(D* in, D* out) : in_(in), out_(out) {}
    D* get() {
        if (out_ == nullptr) {
            temporary_.reset(static_cast<D*>(in_->cloneEmpty()));
            out_ = temporary_.get();
        }
        return out_;
    }
    ~Target() {
        if (temporary_) *in_ = *temporary_;
    }

private:
    D* in_;
    D* out_;
    std::unique_ptr<D> temporary_;
};

}  // namespace

Filter::Filter(const std::string& name) { init(name, nullptr); }

Filter::Filter(const std::string& name, const Dataset* kernel) { init(name, kernel); }

Filter::~Filter() { delete kernel_; }

void Filter::init(const std::string& name, const Dataset* kernel) {
    name_ = name;
    delete kernel_;
    kernel_ = nullptr;
    centre_ = {0, 0, 0};
    if (kernel != nullptr) {
        kernel_ = kernel->clone();
        centre_ = {kernel->getDimensionX() / 2, kernel->getDimensionY() / 2, kernel->getDimensionZ() / 2};
    } else if (name == "block2") {
        kernel_ = new Dataset3D<double>(2, 2, 2, std::pow(2.0, -3));
    }
}

Dataset* Filter::compute(Dataset* in, VOI* voi) {
    if (in == nullptr) return nullptr;
    Dataset* out = in->cloneEmpty();
    compute(in, out, voi);
    return out;
}

void Filter::compute(Dataset* in, Dataset* out, VOI* voi) {
    if (in == nullptr) return;
    if (in->getNumDimensions() != 2 && !sameGrid(*in, voi)) return;
    visitDataset(*in, [&](auto& data) {
        using D = std::remove_reference_t<decltype(data)>;
        D* target = nullptr;
        if (out != nullptr) {
            target = datasetAs<D>(*out);
            if (target == nullptr) {
                ERROR("result '%s' is not of the class of '%s'", out->getName().c_str(), in->getName().c_str());
                return;
            }
        }
        if constexpr (DatasetClass<D>::dimensions == 2)
            compute2(&data, target);
        else if constexpr (DatasetClass<D>::dimensions == 3)
            compute3(&data, target, voi);
        else
            compute4(&data, target, voi);
    });
}

template <class T>
void Filter::compute2(Dataset2D<T>*, Dataset2D<T>*) {
    // Slices have no operation of their own: only the missing kernel is told.
    if (kernel_ == nullptr) warnNoKernel();
}

template <class T>
void Filter::compute3(Dataset3D<T>* in, Dataset3D<T>* out, VOI* voi) {
    Target<Dataset3D<T>> result(in, out);
    const Row* row = findRow(name_);
    if (row != nullptr && row->onVolumes) {
        const std::string numbers = rest(name_, *row);
        unsigned n = 0;
        switch (row->operation) {
        case Operation::Crop: {
            unsigned x0, x1, y0, y1, z0, z1;
            if (std::sscanf(numbers.c_str(), "%u:%u,%u:%u,%u:%u", &x0, &x1, &y0, &y1, &z0, &z1) != 6)
                WARNING("invalid crop region '%s'\n", numbers.c_str());
            else
                crop3(in, result.get(), x0, x1, y0, y1, z0, z1);
            break;
        }
        case Operation::Down:
            if (parseCount(numbers, &n)) down3(in, result.get(), n);
            break;
        default:  // Pad
            if (parseCount(numbers, &n)) pad3(in, result.get(), n, n, n);
            break;
        }
        return;
    }

    // The kernel path.
    if (kernel_ == nullptr) {
        warnNoKernel();
        return;
    }
    Dataset3D<T>* target = result.get();
    const unsigned X = in->getDimensionX(), Y = in->getDimensionY(), Z = in->getDimensionZ();
    if (kernel_->getNumDimensions() == 2) {
        // Slices pass through unfiltered (2D filtering has no operation),
        // stored by setSlice with z as the first coordinate.
        target->resizeExactly(X, Y, Z);
        for (unsigned z = 0; z < Z; ++z) {
            std::unique_ptr<Dataset2D<T>> slice(in->getSlice(z));
            target->setSlice(z, *slice);
        }
    } else if (kernel_->getNumDimensions() == 3) {
        target->resizeExactly(X, Y, Z);
        convolve3(*in, *target, voi);
    }
}

template <class T>
void Filter::compute4(Dataset4D<T>* in, Dataset4D<T>* out, VOI* voi) {
    Target<Dataset4D<T>> result(in, out);
    const unsigned T_ = in->getDimensionT(), X = in->getDimensionX(), Y = in->getDimensionY(),
                   Z = in->getDimensionZ();
    const Row* row = findRow(name_);
    if (row != nullptr && row->onVolumes) {
        // No filters on series: one zero per frame.
        result.get()->resize(T_, 1, 1, 1);
        result.get()->setValue(0);
        return;
    }
    if (row != nullptr) {
        const std::string numbers = rest(name_, *row);
        unsigned n = 0;
        if (row->operation == Operation::SavGol) {
            unsigned nl, nr, m;
            if (std::sscanf(numbers.c_str(), "%u,%u,%u", &nl, &nr, &m) != 3) return;
            result.get()->resize(T_, X, Y, Z);
            savgol(in, result.get(), nl, nr, m, voi);
            return;
        }
        if (!parseCount(numbers, &n)) return;
        Dataset4D<T>* target = result.get();
        target->resize(T_, X, Y, Z);
        if (row->operation == Operation::TMean)
            tmean(in, target, n, voi);
        else if (row->operation == Operation::TMedian)
            tmedian(in, target, n, voi);
        else
            tpca(in, target, n, voi);
        return;
    }

    // The kernel path.
    if (kernel_ == nullptr) {
        warnNoKernel();
        return;
    }
    Dataset4D<T>* target = result.get();
    if (kernel_->getNumDimensions() == 2) {
        target->resize(T_, X, Y, Z);
        for (unsigned t = 0; t < T_; ++t)
            for (unsigned z = 0; z < Z; ++z) {
                std::unique_ptr<Dataset2D<T>> slice(in->getSlice(t, z));
                target->setSlice(t, z, *slice);
            }
    } else if (kernel_->getNumDimensions() == 3) {
        // The volumes' convolutions were never stored into the series: the
        // result is zero, and neither the input nor memory is touched by them.
        target->resize(T_, X, Y, Z);
    }
}

// out(x, y, z) = sum over (a, b, c) of the kernel's extent of
// kernel(x - a + cx, y - b + cy, z - c + cz) * in(a, b, c), terms with a
// kernel index outside the kernel skipped. The image index runs over the
// kernel's extent, so only the image's corner contributes. Voxels outside the
// VOI keep their value.
template <class T>
void Filter::convolve3(const Dataset3D<T>& in, Dataset3D<T>& out, const VOI* voi) {
    const int Kx = int(kernel_->getDimensionX()), Ky = int(kernel_->getDimensionY()),
              Kz = int(kernel_->getDimensionZ());
    const int cx = int(centre_[0]), cy = int(centre_[1]), cz = int(centre_[2]);
    const unsigned X = in.getDimensionX(), Y = in.getDimensionY(), Z = in.getDimensionZ();
    kernelFits(in);
    // Image indices beyond the image would be read past its end: such terms
    // are skipped.
    const int Ax = std::min(Kx, int(X)), Ay = std::min(Ky, int(Y)), Az = std::min(Kz, int(Z));
    for (unsigned z = 0; z < Z; ++z)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned x = 0; x < X; ++x) {
                if (voi != nullptr && (*voi)(x, y, z) == 0) {
                    out(x, y, z) = in(x, y, z);
                    continue;
                }
                double sum = 0;
                for (int c = 0; c < Az; ++c) {
                    const int kz = int(z) - c + cz;
                    if (kz < 0 || kz >= Kz) continue;
                    for (int b = 0; b < Ay; ++b) {
                        const int ky = int(y) - b + cy;
                        if (ky < 0 || ky >= Ky) continue;
                        for (int a = 0; a < Ax; ++a) {
                            const int kx = int(x) - a + cx;
                            if (kx < 0 || kx >= Kx) continue;
                            sum += kernel_->getValue3D(kx, ky, kz) * double(in(a, b, c));
                        }
                    }
                }
                out(x, y, z) = fromDouble<T>(sum);
            }
}

bool Filter::kernelFits(const Dataset& image) const {
    if (image.getDimensionX() >= kernel_->getDimensionX() && image.getDimensionY() >= kernel_->getDimensionY() &&
        image.getDimensionZ() >= kernel_->getDimensionZ())
        return true;
    WARNING("kernel %ux%ux%u is larger than the %ux%ux%u data: terms outside the data are left out\n",
            kernel_->getDimensionX(), kernel_->getDimensionY(), kernel_->getDimensionZ(), image.getDimensionX(),
            image.getDimensionY(), image.getDimensionZ());
    return false;
}

template <class T>
void Filter::crop3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned x0, unsigned x1, unsigned y0, unsigned y1,
                   unsigned z0, unsigned z1) {
    const unsigned X = in->getDimensionX(), Y = in->getDimensionY(), Z = in->getDimensionZ();
    // An end below its start would wrap the extent round to billions.
    if (x0 > x1 || y0 > y1 || z0 > z1 || x1 >= X || y1 >= Y || z1 >= Z) {
        WARNING("invalid crop region (%d:%d,%d:%d,%d:%d) on %dx%dx%d data", int(x0), int(x1), int(y0),
                int(y1), int(z0), int(z1), int(X), int(Y), int(Z));
        return;
    }
    const unsigned nx = x1 - x0 + 1, ny = y1 - y0 + 1, nz = z1 - z0 + 1;
    out->resizeExactly(nx, ny, nz);
    for (unsigned z = 0; z < nz; ++z)
        for (unsigned y = 0; y < ny; ++y)
            for (unsigned x = 0; x < nx; ++x) (*out)(x, y, z) = (*in)(x + x0, y + y0, z + z0);
}

// out(x, y, z) = mean of the n*n*n block at (x*n, y*n, z*n), summed in
// double; voxels past the last whole block are dropped.
template <class T>
void Filter::down3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned n) {
    const unsigned X = in->getDimensionX(), Y = in->getDimensionY(), Z = in->getDimensionZ();
    // A factor of 0 would divide by zero, one beyond a side leave no voxel.
    if (n == 0 || n > X || n > Y || n > Z) {
        WARNING("invalid down-sampling factor %u on %ux%ux%u data\n", n, X, Y, Z);
        return;
    }
    const unsigned nx = X / n, ny = Y / n, nz = Z / n;
    const double volume = double(n) * n * n;
    out->resizeExactly(nx, ny, nz);
    for (unsigned z = 0; z < nz; ++z)
        for (unsigned y = 0; y < ny; ++y)
            for (unsigned x = 0; x < nx; ++x) {
                double sum = 0;
                for (unsigned c = z * n; c < (z + 1) * n; ++c)
                    for (unsigned b = y * n; b < (y + 1) * n; ++b)
                        for (unsigned a = x * n; a < (x + 1) * n; ++a) sum += double((*in)(a, b, c));
                (*out)(x, y, z) = fromDouble<T>(sum / volume);
            }
}

// px, py, pz are the new sizes; the image sits at offset ((px - X) / 2, ...).
template <class T>
void Filter::pad3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned px, unsigned py, unsigned pz) {
    const unsigned X = in->getDimensionX(), Y = in->getDimensionY(), Z = in->getDimensionZ();
    // A size below the image's would wrap the offset; a huge one cannot be
    // allocated.
    if (px < X || py < Y || pz < Z || double(px) * py * pz > kMaxElements) {
        WARNING("invalid pad size %ux%ux%u on %ux%ux%u data\n", px, py, pz, X, Y, Z);
        return;
    }
    out->resizeExactly(px, py, pz);
    out->setValue(0);
    const unsigned ox = (px - X) >> 1, oy = (py - Y) >> 1, oz = (pz - Z) >> 1;
    for (unsigned z = 0; z < Z; ++z)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned x = 0; x < X; ++x) (*out)(x + ox, y + oy, z + oz) = (*in)(x, y, z);
}

#define KINETRA_FILTER_VOLUME(T, NAME, CLASS_ID)                                                         \
    template void Filter::compute2<T>(Dataset2D<T>*, Dataset2D<T>*);                                     \
    template void Filter::compute3<T>(Dataset3D<T>*, Dataset3D<T>*, VOI*);                               \
    template void Filter::compute4<T>(Dataset4D<T>*, Dataset4D<T>*, VOI*);                               \
    template void Filter::crop3<T>(Dataset3D<T>*, Dataset3D<T>*, unsigned, unsigned, unsigned, unsigned, \
                                   unsigned, unsigned);                                                  \
    template void Filter::down3<T>(Dataset3D<T>*, Dataset3D<T>*, unsigned);                              \
    template void Filter::pad3<T>(Dataset3D<T>*, Dataset3D<T>*, unsigned, unsigned, unsigned);
KINETRA_ELEMENT_TYPES(KINETRA_FILTER_VOLUME)
#undef KINETRA_FILTER_VOLUME
