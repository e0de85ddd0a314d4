// Analyze images: the frame-time side file (name.time) and the date and
// time helpers.
#include <algorithm>
#include <ctime>
#include <fstream>

#include "util/Analyze.h"
#include "util/Message.h"
#include "util/StringUtil.h"

// Lines starting with "#" are comments; a line of two numbers is a frame
// (start, duration); a line of one unsigned number is the frame count, which
// is not used. Anything else is reported and skipped. The frames read are
// not compared with dim[4] here.
void Analyze::readTimes() {
    starts_.clear();
    durations_.clear();
    const std::string fileName = name_ + ".time";
    std::ifstream in(fileName.c_str());
    if (!in) {
        const size_t frames = size_t(std::max(getDimT(), 0));
        starts_.assign(frames, 0.0);
        durations_.assign(frames, 0.0);
        WARNING("no acquisition times for file '%s'\n", name_.c_str());
        return;
    }
    std::string line;
    int number = 0;
    while (ReadLine(in, line)) {
        ++number;
        if (!line.empty() && line[0] == '#') continue;
        double start = 0, duration = 0;
        unsigned count = 0;
        if (stringScanf(line, "%lf%lf", &start, &duration) == 2) {
            MESSAGE(5, "frame %u: %lf %lf\n", unsigned(starts_.size()), start, duration);
            starts_.push_back(start);
            durations_.push_back(duration);
        } else if (stringScanf(line, "%u", &count) != 1) {
            ERROR("unknown entry in '%s' line %d: '%s'", fileName.c_str(), number, line.c_str());
        }
    }
}

// Numbers in the stream's default format, six significant digits.
void Analyze::writeTimes() {
    std::ofstream out((name_ + ".time").c_str(), std::ios::trunc);
    if (!out) return;
    out << "# Acquisition times (start duration) in seconds\n";
    out << starts_.size() << " # number of acqusitions\n";
    for (size_t t = 0; t < starts_.size(); ++t)
        out << starts_[t] << "\t" << (t < durations_.size() ? durations_[t] : 0.0) << " \n";
}

std::string Analyze::dateNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return stringPrintf(32, "%04d%02d%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

std::string Analyze::timeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return stringPrintf(32, "%02d%02d%02d", local.tm_hour, local.tm_min, local.tm_sec);
}

// "HHMMSS": hours*3600 + minutes*60 + seconds; missing digits count 0.
int Analyze::timeInSeconds(const std::string& hhmmss) {
    int hours = 0, minutes = 0, seconds = 0;
    stringScanf(hhmmss, "%2d%2d%2d", &hours, &minutes, &seconds);
    return hours * 3600 + minutes * 60 + seconds;
}

// Hours go on past 24: "235959" plus 2 s is "240001".
std::string Analyze::timeAdd(const std::string& hhmmss, unsigned int seconds) {
    const long long total = (long long)timeInSeconds(hhmmss) + seconds;
    return stringPrintf(64, "%02lld%02lld%02lld", total / 3600, (total % 3600) / 60, total % 60);
}

void Analyze::writeDicom(const std::string&, const std::string&, unsigned, unsigned, unsigned) {
    ERROR("DCMTK not available or not enabled");
}
