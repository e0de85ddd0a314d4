// Analyze images: datatype names and the header report.
#include <ostream>

#include "util/Analyze.fields.h"
#include "util/Analyze.h"
#include "util/StringUtil.h"

using namespace analyzefield;

namespace {

// Entry 0 is code 0; a code whose highest set bit is bit k is entry k + 1.
const char* const kTypeNames[] = {"UNKNOWN", "BINARY", "UNSIGNED_CHAR", "SIGNED_SHORT", "SIGNED_INT",
                                  "FLOAT",   "COMPLEX", "DOUBLE",       "RGB",          "ALL"};
constexpr unsigned kTypeCount = sizeof kTypeNames / sizeof kTypeNames[0];

}  // namespace

// So a code that is not a power of two is named by its highest bit (255 is
// "RGB"). A negative code or one past bit 8 has no entry and is "UNKNOWN".
std::string Analyze::type2String(int code) {
    unsigned bits = 0;
    for (unsigned v = unsigned(code); v != 0; v >>= 1) ++bits;
    return bits < kTypeCount ? kTypeNames[bits] : kTypeNames[0];
}

int Analyze::string2Type(const std::string& text) {
    for (unsigned i = 0; i < kTypeCount; ++i)
        if (text == kTypeNames[i]) return i == 0 ? 0 : 1 << (i - 1);
    return 512;
}

void Analyze::info(std::ostream& out) const {
    const unsigned char* h = header_.get();
    out << "Analyze data set: " << name_ << " \n";
    out << "  Type        : " << loadText(h, DATA_TYPE, DATA_TYPE_SIZE) << " \n";
    out << "  DbName      : " << loadText(h, DB_NAME, DB_NAME_SIZE) << " \n";
    out << "  Dimension   : ";
    switch (getNumDimensions()) {
    case 4:
        out << getDimT() << "x" << getDimZ() << "x" << getDimY() << "x" << getDimX() << " (TxZxYxX)\n";
        break;
    case 3:
        out << getDimZ() << "x" << getDimY() << "x" << getDimX() << " (ZxYxX)\n";
        break;
    case 2:
        out << getDimY() << "x" << getDimX() << " (YxX)\n";
        break;
    case 1:
        out << getDimX() << " (X)\n";
        break;
    default:
        out << "0?\n";
        break;
    }
    const int code = load<int16_t>(h, DATATYPE);
    out << "  Datatype    : " << type2String(code) << " (" << code << ")\n";
    out << "  BitsPerPixel: " << load<int16_t>(h, BITPIX) << " \n";
    out << "  VoxelDim    : " << getPixDim(3) << "x" << getPixDim(2) << "x" << getPixDim(1) << " (ZxYxX)\n";
    out << "  VoxUnits    : " << getVoxUnits() << " \n";
    out << "  DataOffset  : " << getOriginX() << " \n";
    out << "  Compressed  : " << getCompressed() << " \n";
    out << "  Verified    : " << getVerified() << " \n";
    out << "  CalMin      : " << getCalMin() << " \n";
    out << "  CalMax      : " << getCalMax() << " \n";
    out << "  CalUnits    : " << getCalUnits() << " \n";
    out << "  GlobalMin   : " << load<int32_t>(h, GLMIN) << " \n";
    out << "  GlobalMax   : " << load<int32_t>(h, GLMAX) << " \n";
    out << "  Unused1(scale): " << load<float>(h, FUNUSED1) << " \n";
    out << "  Unused2     : " << getOriginY() << " \n";
    out << "  Unused3     : " << getOriginZ() << " \n";
    out << "  Description : " << getDescription() << " \n";
    // The orientation code as a number: a raw zero byte would cut the
    // report short on a console that prints C strings.
    out << "  Orientation : " << int(load<char>(h, ORIENT)) << " \n";
    out << "  Originator  : " << getOriginator() << " \n";
    out << "  Generated   : " << getGenerated() << " \n";
    out << "  Scan        : " << getScanNum() << " \n";
    out << "  PatientId   : " << getPatientId() << " \n";
    out << "  ExpDate     : " << getDate() << " \n";
    out << "  ExpTime     : " << getTime() << " \n";
    for (size_t t = 0; t < starts_.size(); ++t)
        out << "  Frame " << stringPrintf(32, "%3d", int(t)) << "   : " << starts_[t] << " "
            << (t < durations_.size() ? durations_[t] : 0.0) << " \n";
}
