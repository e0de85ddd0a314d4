// Datasets written as Analyze images from the workspace.
#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>

#include "Dataset.files.h"
#include "Dataset.visit.h"
#include "Interface.h"
#include "util/Analyze.h"
#include "util/Message.h"

void Interface::writeData(Dataset* data, const std::string& name, double scale) {
    if (!data) return;
    if (data->getType() == "ushort") {
        ERROR("ANALYZE does not support 'ushort', convert to 'int' first");
        return;
    }
    bool written = false;
    visitDataset(*data, [&](auto& typed) {
        using D = typename std::remove_reference<decltype(typed)>::type;
        if constexpr (AnalyzeType<typename DatasetClass<D>::element>::supported) {
            writeAnalyze(name, &typed, scale);
            written = true;
        }
    });
    if (!written) WARNING("KINETRA: unsupported data format '%s'\n", data->getType().c_str());
}

// Real-valued data in an integer type: the largest absolute value goes to
// the type's largest value (truncated toward zero), and the header keeps the
// factor that readers multiply by. float and double, and uchar, are written
// unscaled.
void Interface::writeTypeData(Dataset* data, const std::string& name, const std::string& typeName) {
    if (!data) return;
    double scale = 1.0;
    const std::string& type = data->getType();
    if (type != "float" && type != "double") {
        WARNING("writeTypeData: unsupported data format  '%s'\n", type.c_str());
        writeData(data, name, 1.0);
        return;
    }
    if (type == typeName) {
        WARNING("writeTypeData: nothing changed (identical type: '%s')\n", type.c_str());
        writeData(data, name, 1.0);
        return;
    }
    double low = 0, high = 0;
    std::unique_ptr<Dataset> copy;
    visitDataset(*data, [&](auto& typed) {
        using D = typename std::remove_reference<decltype(typed)>::type;
        low = double(typed.min());
        high = double(typed.max());
        copy.reset(new D(typed));
    });
    if (!copy) {
        ERROR("not implemented (yet)");
        return;
    }
    const double m = std::max(std::fabs(low), std::fabs(high));
    if (typeName == "short")
        scale = m / 32767.0;
    else if (typeName == "int")
        scale = m / 2147483647.0;
    MESSAGE(3, "writeTypeData: writing %s with scale %lg.\n", typeName.c_str(), scale);
    ASSERT(scale != 0);
    // All zeros: the report above, then the data are written unscaled.
    if (scale == 0) scale = 1.0;
    *copy *= 1.0 / scale;
    Dataset* converted = convertType(copy.get(), typeName);
    if (!converted) {
        WARNING("KINETRA: unsupported data format '%s'\n", typeName.c_str());
        return;
    }
    writeData(converted, name, scale);
    if (converted != copy.get()) delete converted;
}
