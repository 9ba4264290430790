// Millions of error lines would make the fuzzers slow.
#include "cWlog.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    cWlog::init(cWlog::FATAL);
    return 0;
}
