// Datasets written as Analyze images from the workspace.
#include "Dataset.h"
#include "Interface.h"

void Interface::writeData(Dataset*, const std::string&, double) {}
void Interface::writeTypeData(Dataset*, const std::string&, const std::string&) {}
