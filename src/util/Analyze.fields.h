// The byte layout of the 348-byte Analyze header, and the memcpy access to
// its fields, shared by the parts of util/Analyze. All integers are signed;
// char fields need not be terminated.
#ifndef KINETRA_UTIL_ANALYZE_FIELDS_H
#define KINETRA_UTIL_ANALYZE_FIELDS_H

#include <cstddef>
#include <cstring>
#include <string>

namespace analyzefield {

// Offsets of the fields in the block.
constexpr size_t SIZEOF_HDR = 0;      // int32, 348
constexpr size_t DATA_TYPE = 4;       // char[10]
constexpr size_t DB_NAME = 14;        // char[18]
constexpr size_t EXTENTS = 32;        // int32
constexpr size_t SESSION_ERROR = 36;  // int16
constexpr size_t REGULAR = 38;        // char, 'r'
constexpr size_t DIM = 40;            // int16[8]: count, X, Y, Z, T, ...
constexpr size_t VOX_UNITS = 56;      // char[4]
constexpr size_t CAL_UNITS = 60;      // char[8]
constexpr size_t DATATYPE = 70;       // int16 type code
constexpr size_t BITPIX = 72;         // int16
constexpr size_t PIXDIM = 76;         // float[8]
constexpr size_t VOX_OFFSET = 108;    // float: origin X
constexpr size_t FUNUSED1 = 112;      // float: scale
constexpr size_t FUNUSED2 = 116;      // float: origin Y
constexpr size_t FUNUSED3 = 120;      // float: origin Z
constexpr size_t CAL_MAX = 124;       // float
constexpr size_t CAL_MIN = 128;       // float
constexpr size_t COMPRESSED = 132;    // float
constexpr size_t VERIFIED = 136;      // float
constexpr size_t GLMAX = 140;         // int32
constexpr size_t GLMIN = 144;         // int32
constexpr size_t DESCRIP = 148;       // char[80]
constexpr size_t ORIENT = 252;        // char
constexpr size_t ORIGINATOR = 253;    // char[10]
constexpr size_t GENERATED = 263;     // char[10]
constexpr size_t SCANNUM = 273;       // char[10]
constexpr size_t PATIENT_ID = 283;    // char[10]
constexpr size_t EXP_DATE = 293;      // char[10]
constexpr size_t EXP_TIME = 303;      // char[10]

// Lengths of the char fields.
constexpr size_t DATA_TYPE_SIZE = 10;
constexpr size_t DB_NAME_SIZE = 18;
constexpr size_t VOX_UNITS_SIZE = 4;
constexpr size_t CAL_UNITS_SIZE = 8;
constexpr size_t DESCRIP_SIZE = 80;
constexpr size_t SHORT_TEXT_SIZE = 10;  // originator to exp_time

// A field's value; a value-initialised V without a block.
template <class V>
V load(const unsigned char* block, size_t at) {
    V value{};
    if (block) std::memcpy(&value, block + at, sizeof value);
    return value;
}

template <class V>
void store(unsigned char* block, size_t at, V value) {
    if (block) std::memcpy(block + at, &value, sizeof value);
}

// A char field up to its first zero byte, never past its end.
inline std::string loadText(const unsigned char* block, size_t at, size_t size) {
    if (!block) return std::string();
    const char* text = reinterpret_cast<const char*>(block + at);
    size_t n = 0;
    while (n < size && text[n] != '\0') ++n;
    return std::string(text, n);
}

// The first cap bytes of a char field, as strncpy fills them: the text, cut
// at cap, padded with zeros. Bytes from cap on are left as they are, so a
// text of full length is terminated only by the zeroed header.
inline void storeText(unsigned char* block, size_t at, size_t cap, const std::string& text) {
    if (!block) return;
    const size_t n = text.size() < cap ? text.size() : cap;
    std::memcpy(block + at, text.data(), n);
    std::memset(block + at + n, 0, cap - n);
}

}  // namespace analyzefield

#endif
