// Analyze: reader and writer of Analyze 7.5 images.
//
// An image is a file pair: name.hdr, a 348-byte binary header, and name.img,
// the raw voxels, X fastest, then Y, Z and T, starting at byte 0 and in the
// byte order of the host that wrote them. A 4D image has a third file,
// name.time, a text table of frame start times and durations.
//
// Three header fields carry values that the format has no place for, and
// files keep this meaning:
//     vox_offset (byte 108)  origin X (never a data offset)
//     funused1   (byte 112)  intensity scale factor
//     funused2/3 (116, 120)  origin Y and Z
//
// The header stays a 348-byte block as it stood on disk (swapped to host
// order when it came from the other byte order); every field is read and
// written with memcpy at its fixed offset, so no struct layout or padding
// comes into play. Getters answer a neutral value (0, 0.0, "") while no
// header is open; setters do nothing then.
#ifndef KINETRA_UTIL_ANALYZE_H
#define KINETRA_UTIL_ANALYZE_H

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// The element types an Analyze file holds, with the datatype text, code and
// bits per voxel. AnalyzeType<T>::supported is false for every other type.
#define KINETRA_ANALYZE_TYPES(X)                  \
    X(unsigned char, "UNSIGNED_CHAR", 2, 8)       \
    X(short, "SIGNED_SHORT", 4, 16)               \
    X(int, "SIGNED_INT", 8, 32)                   \
    X(float, "FLOAT", 16, 32)                     \
    X(double, "DOUBLE", 64, 64)

template <class T>
struct AnalyzeType {
    static constexpr bool supported = false;
};

#define KINETRA_ANALYZE_TRAITS(T, TEXT, CODE, BITS) \
    template <>                                     \
    struct AnalyzeType<T> {                         \
        static constexpr bool supported = true;     \
        static constexpr const char* text = TEXT;   \
        static constexpr int code = CODE;           \
        static constexpr int bitpix = BITS;         \
    };
KINETRA_ANALYZE_TYPES(KINETRA_ANALYZE_TRAITS)
#undef KINETRA_ANALYZE_TRAITS

template <class T>
struct AnalyzeTypeTag {
    using type = T;
};

// Calls f(AnalyzeTypeTag<T>()) for the element type whose datatype text is
// text and returns true; any other text calls nothing and returns false.
template <class F>
bool dispatchAnalyzeType(const std::string& text, F&& f) {
#define KINETRA_ANALYZE_TRY(T, TEXT, CODE, BITS) \
    if (text == TEXT) {                          \
        f(AnalyzeTypeTag<T>());                  \
        return true;                             \
    }
    KINETRA_ANALYZE_TYPES(KINETRA_ANALYZE_TRY)
#undef KINETRA_ANALYZE_TRY
    return false;
}

class Analyze {
public:
    static constexpr size_t HEADER_SIZE = 348;

    // Nothing open.
    Analyze();
    // Opens name (see open).
    explicit Analyze(const std::string& name);
    // A new zero-filled header: sizeof_hdr 348, regular 'r', dim[0] 2, 3 or
    // 4, the given sizes (slowest first) and every unused dim[1..4] 1. The
    // four-argument form sizes both time tables to t zeros.
    Analyze(unsigned y, unsigned x);
    Analyze(unsigned z, unsigned y, unsigned x);
    Analyze(unsigned t, unsigned z, unsigned y, unsigned x);
    virtual ~Analyze();
    Analyze(const Analyze&) = delete;
    Analyze& operator=(const Analyze&) = delete;

    // Reads name.hdr (".hdr" or ".img" at the end of name is cut), name.time
    // for more than 3 dimensions, and opens name.img. Returns whether all of
    // it went well; a failure is warned.
    bool open(const std::string& name);
    // Frees the header and closes the data streams.
    void close();
    // Writes name.hdr and, for more than 3 dimensions, name.time; the
    // voxels follow by writeVolume into name.img.
    void write(const std::string& name);

    // Volume t as a new array of X*Y*Z elements owned by the caller, swapped
    // to host order; null when no data file is open or the volume does not
    // lie inside it.
    template <class T>
    T* readVolume(int t);
    // Writes X*Y*Z elements as volume t (host order, never swapped); opens
    // name.img, truncating it, on the first call. Null data only opens it.
    template <class T>
    void writeVolume(int t, const T* data);

    // The header.
    int getNumDimensions() const;
    int getDimX() const;
    int getDimY() const;
    int getDimZ() const;
    int getDimT() const;
    float getPixDim(unsigned i) const;
    std::string getVoxUnits() const;
    std::string getCalUnits() const;
    float getCalMin() const;
    float getCalMax() const;
    float getCompressed() const;
    float getVerified() const;
    std::string getDescription() const;
    std::string getOriginator() const;
    std::string getGenerated() const;
    std::string getScanNum() const;
    std::string getPatientId() const;
    std::string getDate() const;
    std::string getTime() const;
    float getOriginX() const;
    float getOriginY() const;
    float getOriginZ() const;
    // The text of the datatype code ("FLOAT", ...).
    std::string getType() const;
    // 1.0 with no header, else the field as it stands: 0 unless set.
    double getScale() const;

    void setNumDimensions(int n);
    void setDim(unsigned i, unsigned value);  // i from 1 to 7
    void setPixDim(unsigned i, float value);  // i from 0 to 7
    void setVoxUnits(const std::string& text);
    void setCalUnits(const std::string& text);
    void setCalMin(float value);
    void setCalMax(float value);
    void setCompressed(float value);
    void setVerified(float value);
    void setDescription(const std::string& text);
    void setOriginator(const std::string& text);
    void setGenerated(const std::string& text);
    void setScanNum(const std::string& text);
    void setPatientId(const std::string& text);
    void setDate(const std::string& text);
    void setTime(const std::string& text);
    void setScale(double value);
    void setOriginX(float value);
    void setOriginY(float value);
    void setOriginZ(float value);
    // Datatype and bitpix of "UNSIGNED_CHAR", "SIGNED_SHORT", "SIGNED_INT",
    // "FLOAT" or "DOUBLE"; any other text is reported.
    void setType(const std::string& text);
    void setType(const char* text) { setType(std::string(text)); }
    // The same for the type of a value (which is not read).
    template <class T>
    void setType(const T&) {
        static_assert(AnalyzeType<T>::supported, "a type the format holds");
        setType(std::string(AnalyzeType<T>::text));
    }

    // Frame start times and durations (4D).
    const std::vector<double>& getFrameStarts() const { return starts_; }
    const std::vector<double>& getFrameDurations() const { return durations_; }
    void setFrameStarts(const std::vector<double>& starts) { starts_ = starts; }
    void setFrameDurations(const std::vector<double>& durations) { durations_ = durations; }

    // Whether the header came in the other byte order.
    bool isSwapped() const { return swap_; }
    // The name without extension, as open or write fixed it.
    const std::string& getName() const { return name_; }
    // Whether name.img is open for reading, and its length in bytes (0 when
    // it is not open).
    bool hasData() const { return in_ != nullptr; }
    uint64_t getDataFileSize() const { return dataFileSize_; }
    // The raw header block, null while none is open.
    const unsigned char* getHeader() const { return header_.get(); }

    bool readHeader();
    void readTimes();
    void writeHeader();
    void writeTimes();
    // Reverses the bytes of the numeric fields of the published layout,
    // except unused1 and the int32 fields from byte 316 on.
    void swapHeader();
    // Element index of (x, y, z, t) in the data file: x + X*(y + Y*(z + Z*t)).
    int64_t filePos(int t, int z, int y, int x) const;

    // "UNKNOWN", "BINARY", ... by the highest set bit of a code; and back
    // (512 for a text outside the table).
    static std::string type2String(int code);
    static int string2Type(const std::string& text);

    void info(std::ostream& out) const;

    // Local date "YYYYMMDD" and time "HHMMSS".
    static std::string dateNow();
    static std::string timeNow();
    // Seconds of "HHMMSS"; and "HHMMSS" seconds later, hours not wrapped.
    static int timeInSeconds(const std::string& hhmmss);
    static std::string timeAdd(const std::string& hhmmss, unsigned int seconds);
    static void writeDicom(const std::string& name, const std::string& text, unsigned x, unsigned y,
                           unsigned z);

private:
    void create(int dimensions, unsigned t, unsigned z, unsigned y, unsigned x);
    // The number of volumes in the data file: dim[4] with more than 3
    // dimensions, else 1.
    int frames() const;

    bool swap_ = false;
    std::string name_;
    std::unique_ptr<unsigned char[]> header_;
    std::vector<double> starts_;
    std::vector<double> durations_;
    std::unique_ptr<std::ifstream> in_;
    std::unique_ptr<std::ofstream> out_;
    uint64_t dataFileSize_ = 0;
};

#endif
