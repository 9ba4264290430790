// The properties file, as its reader and the logging configuration take it.
#include "cWlog.h"
#include "inputFile.h"
#include "properties.h"

#include <cstdlib>
#include <cstring>

namespace {

/// Lines that would write files or send datagrams are the operator's word, not broken input.
bool opensSomething(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    return text.find("appender") != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    cProperties properties;
    if (!properties.load(file.path().c_str())) {
        std::abort();
    }
    for (const char* key : {"host", "ioPairFile", "serialPortName", "gsmconfigFile", "simPin", ""}) {
        if (std::strlen(properties.getString(key, "")) > 255) {
            std::abort();
        }
        (void)properties.getInt(key, 0);
    }
    if (!opensSomething(data, size)) {
        cWlog::init(file.path().c_str());
    }
    return 0;
}
