// Analyze images: the header block, opening and writing the file pair, and
// the voxel volumes.
#include "util/Analyze.h"

#include <algorithm>
#include <cstring>

#include "util/Analyze.fields.h"
#include "util/Message.h"
#include "util/StringUtil.h"

#include <sys/stat.h>

using namespace analyzefield;

namespace {

// The name without a ".hdr" or ".img" ending; a name of 4 characters or
// fewer is kept whole.
std::string stripExtension(const std::string& name) {
    if (name.size() > 4) {
        const std::string ending = name.substr(name.size() - 4);
        if (ending == ".hdr" || ending == ".img") return name.substr(0, name.size() - 4);
    }
    return name;
}

void reverseBytes(unsigned char* bytes, size_t size) { std::reverse(bytes, bytes + size); }

// The numeric fields that change with the byte order: offset, field size,
// count. unused1 (68) and the int32 fields from 316 on are not among them.
struct SwappedRun {
    size_t at, size, count;
};
const SwappedRun kSwapped[] = {
    {SIZEOF_HDR, 4, 1}, {EXTENTS, 4, 1}, {SESSION_ERROR, 2, 1},
    {DIM, 2, 8},        // dim[0..7]
    {DATATYPE, 2, 3},   // datatype, bitpix, dim_un0
    {PIXDIM, 4, 16},    // pixdim[0..7], vox_offset, funused1..3, cal_max, cal_min, compressed, verified
    {GLMAX, 4, 2},      // glmax, glmin
};

}  // namespace

// ---- Life cycle ----

Analyze::Analyze() {}

Analyze::Analyze(const std::string& name) { open(name); }

Analyze::Analyze(unsigned y, unsigned x) { create(2, 1, 1, y, x); }

Analyze::Analyze(unsigned z, unsigned y, unsigned x) { create(3, 1, z, y, x); }

Analyze::Analyze(unsigned t, unsigned z, unsigned y, unsigned x) {
    create(4, t, z, y, x);
    starts_.assign(t, 0.0);
    durations_.assign(t, 0.0);
}

Analyze::~Analyze() { close(); }

void Analyze::create(int dimensions, unsigned t, unsigned z, unsigned y, unsigned x) {
    header_.reset(new unsigned char[HEADER_SIZE]());
    store<int32_t>(header_.get(), SIZEOF_HDR, int32_t(HEADER_SIZE));
    store<char>(header_.get(), REGULAR, 'r');
    const unsigned sizes[] = {unsigned(dimensions), x, y, z, t};
    for (unsigned i = 0; i < 5; ++i) store<int16_t>(header_.get(), DIM + 2 * i, int16_t(sizes[i]));
}

void Analyze::close() {
    header_.reset();
    in_.reset();
    out_.reset();
    dataFileSize_ = 0;
}

bool Analyze::open(const std::string& name) {
    // Reopening starts afresh: nothing of an earlier image stays.
    close();
    swap_ = false;
    starts_.clear();
    durations_.clear();
    name_ = stripExtension(checkDirectorySeparators(name));
    if (!readHeader()) {
        WARNING("cannot open header file '%s.hdr' for reading\n", name_.c_str());
        return false;
    }
    if (getNumDimensions() > 3) readTimes();
    const std::string dataName = name_ + ".img";
    std::unique_ptr<std::ifstream> in(new std::ifstream(dataName.c_str(), std::ios::binary));
    // Only a regular file has a length to trust: a directory opens as a
    // stream of endless size that reads nothing.
    struct stat status;
    if (!*in || stat(dataName.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        WARNING("cannot open data file '%s' for reading\n", dataName.c_str());
        return false;
    }
    in_ = std::move(in);
    dataFileSize_ = uint64_t(status.st_size);
    return true;
}

bool Analyze::readHeader() {
    header_.reset();
    swap_ = false;
    std::ifstream in((name_ + ".hdr").c_str(), std::ios::binary);
    if (!in) return false;
    std::unique_ptr<unsigned char[]> block(new unsigned char[HEADER_SIZE]());
    in.read(reinterpret_cast<char*>(block.get()), HEADER_SIZE);
    if (in.gcount() != std::streamsize(HEADER_SIZE)) return false;
    header_ = std::move(block);
    // A legal dimension count is at most 7, so a count above 15 can only
    // be the other byte order.
    if (load<uint16_t>(header_.get(), DIM) > 15) {
        MESSAGE(1, "'%s' needs swapping\n", name_.c_str());
        swap_ = true;
        swapHeader();
    }
    return true;
}

void Analyze::swapHeader() {
    if (!header_) return;
    for (const SwappedRun& run : kSwapped)
        for (size_t i = 0; i < run.count; ++i) reverseBytes(header_.get() + run.at + i * run.size, run.size);
}

void Analyze::write(const std::string& name) {
    name_ = stripExtension(checkDirectorySeparators(name));
    writeHeader();
    if (getNumDimensions() > 3) writeTimes();
}

void Analyze::writeHeader() {
    if (!header_) return;
    std::ofstream out((name_ + ".hdr").c_str(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(header_.get()), HEADER_SIZE);
}

// ---- Volumes ----

int Analyze::frames() const { return getNumDimensions() > 3 ? getDimT() : 1; }

int64_t Analyze::filePos(int t, int z, int y, int x) const {
    if (!header_) return 0;
    const int64_t X = getDimX(), Y = getDimY(), Z = getDimZ();
    return x + X * (y + Y * (z + Z * int64_t(t)));
}

template <class T>
T* Analyze::readVolume(int t) {
    if (!in_) return nullptr;
    const int X = getDimX(), Y = getDimY(), Z = getDimZ();
    if (X < 1 || Y < 1 || Z < 1 || t < 0 || t >= frames()) return nullptr;
    const uint64_t count = uint64_t(X) * uint64_t(Y) * uint64_t(Z), bytes = count * sizeof(T);
    const uint64_t offset = uint64_t(filePos(t, 0, 0, 0)) * sizeof(T);
    // Only a volume that lies wholly inside the data file is read, so that
    // the file's length bounds what is allocated.
    if (offset > dataFileSize_ || bytes > dataFileSize_ - offset) return nullptr;
    T* data = new T[count];
    in_->clear();
    in_->seekg(std::streamoff(offset), std::ios::beg);
    in_->read(reinterpret_cast<char*>(data), std::streamsize(bytes));
    // A read that failed part way leaves zeros, never unset memory.
    const uint64_t got = uint64_t(std::max<std::streamsize>(in_->gcount(), 0));
    if (got < bytes) std::memset(reinterpret_cast<char*>(data) + got, 0, size_t(bytes - got));
    if (swap_ && sizeof(T) > 1)
        for (uint64_t i = 0; i < count; ++i) reverseBytes(reinterpret_cast<unsigned char*>(data + i), sizeof(T));
    return data;
}

template <class T>
void Analyze::writeVolume(int t, const T* data) {
    if (!out_) {
        const std::string dataName = name_ + ".img";
        std::unique_ptr<std::ofstream> out(
            new std::ofstream(dataName.c_str(), std::ios::binary | std::ios::trunc));
        if (!*out) {
            WARNING("cannot open data file '%s' for writing\n", dataName.c_str());
            return;
        }
        out_ = std::move(out);
    }
    if (!data || t < 0) return;
    const int64_t X = std::max(getDimX(), 0), Y = std::max(getDimY(), 0), Z = std::max(getDimZ(), 0);
    out_->seekp(std::streamoff(filePos(t, 0, 0, 0) * int64_t(sizeof(T))), std::ios::beg);
    out_->write(reinterpret_cast<const char*>(data), std::streamsize(X * Y * Z * int64_t(sizeof(T))));
}

#define KINETRA_ANALYZE_VOLUME(T, TEXT, CODE, BITS) \
    template T* Analyze::readVolume<T>(int);        \
    template void Analyze::writeVolume<T>(int, const T*);
KINETRA_ANALYZE_TYPES(KINETRA_ANALYZE_VOLUME)
#undef KINETRA_ANALYZE_VOLUME

// ---- Header fields ----

int Analyze::getNumDimensions() const { return load<int16_t>(header_.get(), DIM); }
int Analyze::getDimX() const { return load<int16_t>(header_.get(), DIM + 2); }
int Analyze::getDimY() const { return load<int16_t>(header_.get(), DIM + 4); }
int Analyze::getDimZ() const { return load<int16_t>(header_.get(), DIM + 6); }
int Analyze::getDimT() const { return load<int16_t>(header_.get(), DIM + 8); }
float Analyze::getPixDim(unsigned i) const { return i < 8 ? load<float>(header_.get(), PIXDIM + 4 * i) : 0.0f; }
std::string Analyze::getVoxUnits() const { return loadText(header_.get(), VOX_UNITS, VOX_UNITS_SIZE); }
std::string Analyze::getCalUnits() const { return loadText(header_.get(), CAL_UNITS, CAL_UNITS_SIZE); }
float Analyze::getCalMin() const { return load<float>(header_.get(), CAL_MIN); }
float Analyze::getCalMax() const { return load<float>(header_.get(), CAL_MAX); }
float Analyze::getCompressed() const { return load<float>(header_.get(), COMPRESSED); }
float Analyze::getVerified() const { return load<float>(header_.get(), VERIFIED); }
std::string Analyze::getDescription() const { return loadText(header_.get(), DESCRIP, DESCRIP_SIZE); }
std::string Analyze::getOriginator() const { return loadText(header_.get(), ORIGINATOR, SHORT_TEXT_SIZE); }
std::string Analyze::getGenerated() const { return loadText(header_.get(), GENERATED, SHORT_TEXT_SIZE); }
std::string Analyze::getScanNum() const { return loadText(header_.get(), SCANNUM, SHORT_TEXT_SIZE); }
std::string Analyze::getPatientId() const { return loadText(header_.get(), PATIENT_ID, SHORT_TEXT_SIZE); }
std::string Analyze::getDate() const { return loadText(header_.get(), EXP_DATE, SHORT_TEXT_SIZE); }
std::string Analyze::getTime() const { return loadText(header_.get(), EXP_TIME, SHORT_TEXT_SIZE); }
float Analyze::getOriginX() const { return load<float>(header_.get(), VOX_OFFSET); }
float Analyze::getOriginY() const { return load<float>(header_.get(), FUNUSED2); }
float Analyze::getOriginZ() const { return load<float>(header_.get(), FUNUSED3); }

std::string Analyze::getType() const {
    return header_ ? type2String(load<int16_t>(header_.get(), DATATYPE)) : std::string();
}

double Analyze::getScale() const { return header_ ? double(load<float>(header_.get(), FUNUSED1)) : 1.0; }

void Analyze::setNumDimensions(int n) { store<int16_t>(header_.get(), DIM, int16_t(n)); }
void Analyze::setDim(unsigned i, unsigned value) {
    if (i >= 1 && i <= 7) store<int16_t>(header_.get(), DIM + 2 * i, int16_t(value));
}
void Analyze::setPixDim(unsigned i, float value) {
    if (i < 8) store<float>(header_.get(), PIXDIM + 4 * i, value);  // pixdim has 8 entries
}
void Analyze::setVoxUnits(const std::string& text) { storeText(header_.get(), VOX_UNITS, 3, text); }
void Analyze::setCalUnits(const std::string& text) { storeText(header_.get(), CAL_UNITS, 3, text); }
void Analyze::setCalMin(float value) { store<float>(header_.get(), CAL_MIN, value); }
void Analyze::setCalMax(float value) { store<float>(header_.get(), CAL_MAX, value); }
void Analyze::setCompressed(float value) { store<float>(header_.get(), COMPRESSED, value); }
void Analyze::setVerified(float value) { store<float>(header_.get(), VERIFIED, value); }
void Analyze::setDescription(const std::string& text) {
    storeText(header_.get(), DESCRIP, DESCRIP_SIZE - 1, text);
}
void Analyze::setOriginator(const std::string& text) {
    storeText(header_.get(), ORIGINATOR, SHORT_TEXT_SIZE - 1, text);
}
void Analyze::setGenerated(const std::string& text) {
    storeText(header_.get(), GENERATED, SHORT_TEXT_SIZE - 1, text);
}
void Analyze::setScanNum(const std::string& text) { storeText(header_.get(), SCANNUM, SHORT_TEXT_SIZE - 1, text); }
void Analyze::setPatientId(const std::string& text) {
    storeText(header_.get(), PATIENT_ID, SHORT_TEXT_SIZE - 1, text);
}
void Analyze::setDate(const std::string& text) { storeText(header_.get(), EXP_DATE, SHORT_TEXT_SIZE - 1, text); }
void Analyze::setTime(const std::string& text) { storeText(header_.get(), EXP_TIME, SHORT_TEXT_SIZE - 1, text); }
void Analyze::setScale(double value) { store<float>(header_.get(), FUNUSED1, float(value)); }
void Analyze::setOriginX(float value) { store<float>(header_.get(), VOX_OFFSET, value); }
void Analyze::setOriginY(float value) { store<float>(header_.get(), FUNUSED2, value); }
void Analyze::setOriginZ(float value) { store<float>(header_.get(), FUNUSED3, value); }

void Analyze::setType(const std::string& text) {
    const bool known = dispatchAnalyzeType(text, [&](auto tag) {
        using T = typename decltype(tag)::type;
        store<int16_t>(header_.get(), DATATYPE, int16_t(AnalyzeType<T>::code));
        store<int16_t>(header_.get(), BITPIX, int16_t(AnalyzeType<T>::bitpix));
    });
    if (!known) ERROR("unsupported type '%s'", text.c_str());
}
