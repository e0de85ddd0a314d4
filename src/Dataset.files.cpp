// Datasets to and from Analyze images.
#include "Dataset.files.h"

#include <cstdint>
#include <memory>

#include "Dataset.visit.h"
#include "util/Analyze.h"
#include "util/Message.h"

namespace {

// The largest size one header dimension holds (int16).
constexpr unsigned kMaxAnalyzeDim = 32767;

// The volumes of an opened file: a volume for 3 dimensions, else a series
// of dim[4] volumes. The caller has checked sizes, frame count and data
// file length, so every readVolume returns a whole volume.
template <class T>
Dataset* readVolumes(Analyze& file, bool series) {
    const unsigned X = unsigned(file.getDimX()), Y = unsigned(file.getDimY()), Z = unsigned(file.getDimZ());
    if (!series) {
        Dataset3D<T>* volume = new Dataset3D<T>(X, Y, Z);
        std::unique_ptr<T[]> data(file.readVolume<T>(0));
        if (data) volume->setData(data.get());
        return volume;
    }
    const unsigned frames = unsigned(file.getDimT());
    Dataset4D<T>* data = new Dataset4D<T>();
    data->resize(frames, X, Y, Z);
    data->setTime(file.getFrameStarts());
    data->setFrameLength(file.getFrameDurations());
    for (unsigned t = 0; t < frames; ++t) {
        std::unique_ptr<T[]> volume(file.readVolume<T>(int(t)));
        if (volume) data->setData(t, volume.get());
    }
    return data;
}

// Whether the opened file describes an image that can be read whole: sizes
// of at least 1, an allowed dataset size, a data file that holds every
// voxel, and (for a series) one line of frame times per frame.
bool readable(const Analyze& file, bool series, size_t elementSize) {
    const int X = file.getDimX(), Y = file.getDimY(), Z = file.getDimZ(), T = series ? file.getDimT() : 1;
    const std::string& name = file.getName();
    if (X < 1 || Y < 1 || Z < 1 || T < 1) {
        ERROR("readAnalyze(): invalid size %dx%dx%dx%d (TxZxYxX) in '%s.hdr'", T, Z, Y, X, name.c_str());
        return false;
    }
    if (!Dataset::allowedSize({uint64_t(T), uint64_t(X), uint64_t(Y), uint64_t(Z)}, elementSize, name))
        return false;
    const unsigned long long needed = (unsigned long long)T * X * Y * Z * elementSize;
    if (file.getDataFileSize() < needed) {
        ERROR("data file '%s' holds %llu bytes, the header needs %llu", (name + ".img").c_str(),
              (unsigned long long)file.getDataFileSize(), needed);
        return false;
    }
    if (series && (file.getFrameStarts().size() != size_t(T) || file.getFrameDurations().size() != size_t(T))) {
        ERROR("time file '%s.time' holds %u frames, the header %d", name.c_str(),
              unsigned(file.getFrameStarts().size()), T);
        return false;
    }
    return true;
}

// Pixel size, origin and (for a series) frame times of a dataset into a new
// header; n is the number of spatial dimensions, written as pixdim[0].
void describe(Analyze& file, const Dataset& data, unsigned n) {
    file.setPixDim(0, float(n));
    const std::vector<double> size = data.getPixelSize(), origin = data.getOrigin();
    // A series without volumes has no geometry: the fields stay 0.
    for (unsigned i = 0; i < n && i < size.size(); ++i) file.setPixDim(i + 1, float(size[i]));
    if (origin.size() > 0) file.setOriginX(float(origin[0]));
    if (origin.size() > 1) file.setOriginY(float(origin[1]));
    if (n > 2 && origin.size() > 2) file.setOriginZ(float(origin[2]));
    file.setVoxUnits(data.getSpaceUnit().getName());
}

// The new header of a dataset of class D (2D, 3D or 4D), or null when a
// size does not fit the header's 16-bit fields.
template <class D>
Analyze* makeAnalyze(const D* data) {
    using T = typename DatasetClass<D>::element;
    constexpr unsigned n = DatasetClass<D>::dimensions;
    const unsigned X = data->getDimensionX(), Y = data->getDimensionY();
    const unsigned Z = n > 2 ? data->getDimensionZ() : 1, frames = n > 3 ? data->getDimensionT() : 1;
    // A size beyond int16 would be written wrapped and describe another image.
    if (X > kMaxAnalyzeDim || Y > kMaxAnalyzeDim || Z > kMaxAnalyzeDim || frames > kMaxAnalyzeDim) {
        ERROR("ANALYZE cannot hold '%s' of size %ux%ux%ux%u (TxZxYxX)", data->getName().c_str(), frames, Z, Y, X);
        return nullptr;
    }
    Analyze* file = n == 2 ? new Analyze(Y, X) : n == 3 ? new Analyze(Z, Y, X) : new Analyze(frames, Z, Y, X);
    // The type by the element type itself: an empty dataset has no first
    // element to serve as the witness.
    file->setType(T());
    if constexpr (n == 4) {
        file->setFrameStarts(data->getTime());
        file->setFrameDurations(data->getFrameLength());
    }
    describe(*file, *data, n == 2 ? 2 : 3);
    return file;
}

// The flat data of volume t (t is 0 but for a series).
template <class T>
const T* volumeData(const Dataset2D<T>* data, unsigned) {
    return data->getData();
}
template <class T>
const T* volumeData(const Dataset3D<T>* data, unsigned) {
    return data->getData();
}
template <class T>
const T* volumeData(const Dataset4D<T>* data, unsigned t) {
    return (*data)(t).getData();
}

template <class D>
bool writeVolumes(const std::string& name, const D* data, double scale) {
    std::unique_ptr<Analyze> file(createAnalyze(data));
    if (!file) return false;
    if (scale != 1.0) file->setScale(scale);
    file->write(name);
    const unsigned frames = DatasetClass<D>::dimensions == 4 ? data->getDimensionT() : 1;
    for (unsigned t = 0; t < frames; ++t) file->writeVolume(int(t), volumeData(data, t));
    // The result carries no meaning; no caller looks at it.
    return false;
}

}  // namespace

Dataset* readAnalyze(const std::string& name) {
    Analyze file(name);
    const int dimensions = file.getNumDimensions();
    if (dimensions == 0) return nullptr;  // open failed and has warned
    if (dimensions == 2) {
        ERROR("readAnalyze(): 2D data not (yet) supported");
        return nullptr;
    }
    if (dimensions < 3 || dimensions > 6) {
        ERROR("readAnalyze(): %dD data not supported", dimensions);
        return nullptr;
    }
    // 4, 5 and 6 dimensions are read as a series of T volumes.
    const bool series = dimensions > 3;
    Dataset* data = nullptr;
    bool known = dispatchAnalyzeType(file.getType(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        // A header without its data file has warned already and gives no
        // dataset: there is nothing to fill it with.
        if (file.hasData() && readable(file, series, sizeof(T))) data = readVolumes<T>(file, series);
    });
    if (!known) {
        ERROR("readAnalyze(): unsupported data type '%s'", file.getType().c_str());
        return nullptr;
    }
    if (!data) return nullptr;
    data->setSpaceUnit(Unit(file.getVoxUnits()));
    data->setPixelSize({file.getPixDim(1), file.getPixDim(2), file.getPixDim(3)});
    data->setOrigin({file.getOriginX(), file.getOriginY(), file.getOriginZ()});
    return data;
}

// The header's scale is used as it stands: a file written unscaled has 0
// there and reads as all zeros. Whoever reads a file scaled knows it was
// written scaled.
Dataset* readScaledAnalyze(const std::string& name) {
    Dataset* data = readAnalyze(name);
    if (!data) return nullptr;
    Analyze header(name);
    const std::string type = header.getType();
    if (type == "DOUBLE") {
        MESSAGE(2, "readScaledAnalyze: data is double, nothing's done.\n");
        return data;
    }
    const double scale = header.getScale();
    MESSAGE(2, "readScaledAnalyze: scaling data from %s to double with %lg.\n", type.c_str(), scale);
    Dataset* result = convertType(data, "double");
    // The unconverted data are no longer needed (the result is a new object
    // unless the data were double already).
    if (result != data) delete data;
    if (result && scale != 1.0) *result *= scale;
    return result;
}

Analyze* createAnalyze(const Dataset* data) {
    if (!data) return nullptr;
    if (data->getType() == "ushort") {
        ERROR("ANALYZE does not support 'ushort', convert to 'int' first");
        return nullptr;
    }
    Analyze* file = nullptr;
    visitDataset(*data, [&](const auto& typed) {
        using D = typename std::remove_const<typename std::remove_reference<decltype(typed)>::type>::type;
        if constexpr (AnalyzeType<typename DatasetClass<D>::element>::supported) file = createAnalyze(&typed);
    });
    return file;
}

template <class T>
Analyze* createAnalyze(const Dataset2D<T>* data) {
    return makeAnalyze(data);
}
template <class T>
Analyze* createAnalyze(const Dataset3D<T>* data) {
    return makeAnalyze(data);
}
template <class T>
Analyze* createAnalyze(const Dataset4D<T>* data) {
    return makeAnalyze(data);
}

template <class T>
bool writeAnalyze(const std::string& name, const Dataset2D<T>* data, double scale) {
    return writeVolumes(name, data, scale);
}
template <class T>
bool writeAnalyze(const std::string& name, const Dataset3D<T>* data, double scale) {
    return writeVolumes(name, data, scale);
}
template <class T>
bool writeAnalyze(const std::string& name, const Dataset4D<T>* data, double scale) {
    return writeVolumes(name, data, scale);
}

// The five element types the format holds.
#define KINETRA_INSTANTIATE_FILES(T, TEXT, CODE, BITS)                                 \
    template Analyze* createAnalyze<T>(const Dataset2D<T>*);                           \
    template Analyze* createAnalyze<T>(const Dataset3D<T>*);                           \
    template Analyze* createAnalyze<T>(const Dataset4D<T>*);                           \
    template bool writeAnalyze<T>(const std::string&, const Dataset2D<T>*, double);    \
    template bool writeAnalyze<T>(const std::string&, const Dataset3D<T>*, double);    \
    template bool writeAnalyze<T>(const std::string&, const Dataset4D<T>*, double);
KINETRA_ANALYZE_TYPES(KINETRA_INSTANTIATE_FILES)
#undef KINETRA_INSTANTIATE_FILES
