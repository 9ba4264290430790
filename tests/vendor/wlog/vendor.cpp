#include "cWlog.h"

#include <cstdarg>
#include <cstdio>

#define SAY(operation)                                                                                                 \
    void cWlog::operation(const char* format, ...)                                                                     \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, format);                                                                                   \
        printf("%s " #operation " ", mCatName);                                                                        \
        vprintf(format, arguments);                                                                                    \
        printf("\n");                                                                                                  \
        va_end(arguments);                                                                                             \
    }

SAY(debug)
SAY(info)
SAY(warn)
SAY(error)
SAY(fatal)
void cWlog::init(const char*) {}
