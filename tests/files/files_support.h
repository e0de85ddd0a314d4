// File test helpers: a temporary folder, whole files, and a byte-level view
// of Analyze headers that knows the field offsets on its own.
#ifndef KINETRA_TESTS_FILES_SUPPORT_H
#define KINETRA_TESTS_FILES_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "data/data_support.h"

namespace filetest {

using datatest::takeText;
using datatest::Verbosity;
using Bytes = std::vector<unsigned char>;

// A folder under /tmp, removed with everything in it at the end of scope.
class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/kinetra-files-XXXXXX";
        const char* made = mkdtemp(pattern);
        path_ = made ? made : "/tmp";
    }
    ~TempDir() {
        if (path_ != "/tmp") std::system(("rm -rf '" + path_ + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline bool exists(const std::string& name) { return std::ifstream(name.c_str()).good(); }

inline Bytes readFile(const std::string& name) {
    std::ifstream in(name.c_str(), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string readText(const std::string& name) {
    const Bytes b = readFile(name);
    return std::string(b.begin(), b.end());
}

template <class Container>  // Bytes or std::string
void writeFile(const std::string& name, const Container& b) {
    std::ofstream(name.c_str(), std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(b.data()),
                                                                          std::streamsize(b.size()));
}

inline bool hostIsBig() {
    const uint16_t one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 0;
}

// The bytes of a value in the chosen byte order.
template <class V>
Bytes encode(V value, bool big) {
    Bytes b(sizeof(V));
    std::memcpy(b.data(), &value, sizeof(V));
    if (big != hostIsBig()) std::reverse(b.begin(), b.end());
    return b;
}

// A header block read or written field by field at the documented offsets,
// in either byte order.
struct RawHeader {
    Bytes b = Bytes(348, 0);
    bool big = false;

    template <class V>
    V get(size_t at) const {
        Bytes piece(b.begin() + long(at), b.begin() + long(at + sizeof(V)));
        if (big != hostIsBig()) std::reverse(piece.begin(), piece.end());
        V value;
        std::memcpy(&value, piece.data(), sizeof(V));
        return value;
    }
    template <class V>
    void put(size_t at, V value) {
        const Bytes piece = encode(value, big);
        std::copy(piece.begin(), piece.end(), b.begin() + long(at));
    }
    int16_t dim(unsigned i) const { return get<int16_t>(40 + 2 * i); }
    float pixdim(unsigned i) const { return get<float>(76 + 4 * i); }
    std::string text(size_t at, size_t size) const {
        std::string s(b.begin() + long(at), b.begin() + long(at + size));
        return s.substr(0, s.find('\0'));
    }
    // Every byte outside the listed ranges [at, at + size) is zero.
    std::vector<size_t> nonZeroOutside(const std::vector<std::pair<size_t, size_t>>& listed) const {
        std::vector<size_t> wrong;
        for (size_t i = 0; i < b.size(); ++i) {
            bool inside = false;
            for (const auto& r : listed) inside = inside || (i >= r.first && i < r.first + r.second);
            if (!inside && b[i] != 0) wrong.push_back(i);
        }
        return wrong;
    }
};

inline RawHeader readHeaderFile(const std::string& name, bool big = false) { return RawHeader{readFile(name), big}; }

// A hand-made header: sizes X, Y, Z, T after dim[0], a type code and bitpix.
inline RawHeader makeHeader(bool big, int dims, int X, int Y, int Z, int T, int16_t code, int16_t bitpix) {
    RawHeader h;
    h.big = big;
    h.put<int32_t>(0, 348);
    h.b[38] = 'r';
    const int16_t d[] = {int16_t(dims), int16_t(X), int16_t(Y), int16_t(Z), int16_t(T)};
    for (unsigned i = 0; i < 5; ++i) h.put<int16_t>(40 + 2 * i, d[i]);
    h.put<int16_t>(70, code);
    h.put<int16_t>(72, bitpix);
    return h;
}

}  // namespace filetest

#endif
