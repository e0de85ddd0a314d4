// Datasets to and from files: Analyze images (with their frame-time side
// file) and plain-text time-activity curves. Every reader returns a new
// dataset owned by the caller, or null after a printed report.
#ifndef KINETRA_DATASET_FILES_H
#define KINETRA_DATASET_FILES_H

#include <string>

#include "Dataset2D.h"
#include "Dataset3D.h"
#include "Dataset4D.h"

class Analyze;

// Analyze images: 3D as a volume, 4D to 6D as a 4D series.
Dataset* readAnalyze(const std::string& name);
// The same, converted to double and multiplied by the header's scale field.
Dataset* readScaledAnalyze(const std::string& name);

// A header (and frame times) ready for writing; null for element types the
// format cannot hold.
Analyze* createAnalyze(const Dataset* data);
template <class T>
Analyze* createAnalyze(const Dataset2D<T>* data);
template <class T>
Analyze* createAnalyze(const Dataset3D<T>* data);
template <class T>
Analyze* createAnalyze(const Dataset4D<T>* data);

template <class T>
bool writeAnalyze(const std::string& name, const Dataset2D<T>* data, double scale);
template <class T>
bool writeAnalyze(const std::string& name, const Dataset3D<T>* data, double scale);
template <class T>
bool writeAnalyze(const std::string& name, const Dataset4D<T>* data, double scale);

// Time-activity curves: a text table of a time column and one column per
// curve; curve c at row t is element (t, 0, 0, c).
Dataset4D<double>* readTAC(const std::string& name);
void writeTAC(Dataset4D<double>* data, const std::string& name);

#endif
