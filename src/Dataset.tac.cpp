// Time-activity curves as plain text: a time column and one column per
// curve, one row per frame.
#include <algorithm>
#include <fstream>
#include <vector>

#include "Dataset.files.h"
#include "util/Message.h"
#include "util/StringUtil.h"

namespace {

// The fields of one line without its comment; none for a line left empty.
size_t fieldsOf(std::string& line, std::vector<std::string>& fields) {
    stripCommentsAndLeadingWhiteSpace(line);
    trimWhiteSpace(line);
    return stringSplit(line, fields);
}

}  // namespace

// Two passes: the first counts rows and the widest row, the second fills a
// T x 1 x 1 x curves series. Frame lengths are the differences of the row
// times; the last frame takes the length before it. The times stay in the
// dataset's time unit, whatever the file means.
Dataset4D<double>* readTAC(const std::string& name) {
    const std::string fileName = checkDirectorySeparators(name);
    std::ifstream in(fileName.c_str());
    std::string line;
    std::vector<std::string> fields;
    unsigned rows = 0;
    size_t columns = 0;
    while (ReadLine(in, line)) {
        const size_t n = fieldsOf(line, fields);
        if (n == 0) continue;
        ++rows;
        columns = std::max(columns, n);
    }
    if (columns < 2) {
        ERROR("must have at least 2 data columns");
        return nullptr;
    }
    // One row has no frame before it to lend the last frame its length.
    if (rows < 2) {
        ERROR("TAC file '%s' has %u row, at least 2 are needed", fileName.c_str(), rows);
        return nullptr;
    }
    const unsigned curves = unsigned(std::min<size_t>(columns - 1, ~0u));
    if (!Dataset::allowedSize({rows, 1, 1, curves}, sizeof(double), fileName)) return nullptr;
    Dataset4D<double>* data = new Dataset4D<double>(rows, 1, 1, curves, 0.0);

    in.clear();
    in.seekg(0, std::ios::beg);
    unsigned t = 0;
    int number = 0;
    while (t < rows && ReadLine(in, line)) {
        ++number;
        const size_t n = fieldsOf(line, fields);
        if (n == 0) continue;
        if (n < columns)
            WARNING("%s:%d: only %d instead of %d entries at (filling with 0)\n", fileName.c_str(), number, int(n),
                    int(columns));
        data->setTime(t, string2num<double>(fields[0]));
        for (unsigned c = 1; c <= curves; ++c) (*data)(t, 0, 0, c - 1) = c < n ? string2num<double>(fields[c]) : 0.0;
        ++t;
    }
    for (t = 1; t < rows; ++t) data->setFrameLength(t - 1, data->getTime(t) - data->getTime(t - 1));
    WARNING("read TAC assumes identical frame length for last 2 frames!\n");
    data->setFrameLength(rows - 1, data->getFrameLength(rows - 2));
    return data;
}

// One row per frame: the model time ("%g"), then each curve in the stream's
// default format. With midframe_approx the file holds mid-frame times, which
// readTAC then takes for frame starts.
void writeTAC(Dataset4D<double>* data, const std::string& name) {
    if (!data) return;
    const std::string fileName = checkDirectorySeparators(name);
    std::ofstream out(fileName.c_str(), std::ios::trunc);
    if (!out) {
        ERROR("cannot open file '%s' for writing", fileName.c_str());
        return;
    }
    const unsigned T = data->getDimensionT(), Z = data->getDimensionZ();
    for (unsigned t = 0; t < T; ++t) {
        out << num2string(data->getModelTime(t), "%g");
        for (unsigned z = 0; z < Z; ++z) out << " " << (*data)(t, 0, 0, z);
        out << " \n";
    }
}
