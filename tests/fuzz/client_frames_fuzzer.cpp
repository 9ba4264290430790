// A frame's content through the client's decoder.
#include "codec.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string error;
    const auto message = tavcodec::decode(reinterpret_cast<const char*>(data), size, error);
    if (!message) {
        if (error.empty())
            abort(); // a refusal always says why
        return 0;
    }
    size_t objects = 0;
    for (cObject* object = message->list->first(); object != nullptr; object = message->list->next()) {
        ++objects;
        if (const auto* port = dynamic_cast<const cObjectPort*>(object)) {
            if (std::string(port->getPortLabel()).size() > tavcodec::kMaxLabel)
                abort();
            (void)tavcodec::setKey(*object);
        }
        if (dynamic_cast<const cObjectPort*>(object) != nullptr && tavcodec::encodeSet(1, *object).empty())
            abort(); // what was read can be written
    }
    if (objects > tavcodec::kMaxObjects)
        abort();
    return 0;
}
