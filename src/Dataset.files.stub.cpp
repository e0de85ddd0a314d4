// Temporary: removed when the file readers arrive.
#include "Dataset.files.h"
Dataset* readAnalyze(const std::string&) { return nullptr; }
Dataset* readScaledAnalyze(const std::string&) { return nullptr; }
Dataset4D<double>* readTAC(const std::string&) { return nullptr; }
