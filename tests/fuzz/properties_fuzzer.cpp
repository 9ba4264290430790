// The properties file, as its reader and the logging configuration take it.
#include "cWlog.h"
#include "fuzz.h"
#include "properties.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    cProperties properties;
    require(properties.load(file.path().c_str()));
    for (const char* key : {"host", "ioPairFile", "serialPortName", "gsmconfigFile", "simPin", ""}) {
        require(std::strlen(properties.getString(key, "")) <= 255);
        (void)properties.getInt(key, 0);
    }
    // Lines that would write files or send datagrams are the operator's word, not broken input.
    if (textOf(data, size).find("appender") == std::string::npos)
        cWlog::init(file.path().c_str());
    return 0;
}
