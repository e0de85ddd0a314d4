// Shared by the files of the Optimizable module only.
#ifndef KINETRA_OPTIMIZABLE_DETAIL_H
#define KINETRA_OPTIMIZABLE_DETAIL_H

#include "util/Message.h"

// An unknown parameter name: the error head of this module and line, then the
// text with the name, printed straight, without the error path's closing " \n".
#define UNKNOWN_PARAMETER(text, name)                                 \
    do {                                                              \
        (void)_ErrorHelper(__FILE__, __LINE__);                       \
        messagePrintf("%s%s'", text, (name).c_str());                   \
    } while (0)

#endif
