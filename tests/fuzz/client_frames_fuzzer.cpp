// A frame's content through the client's decoder.
#include "codec.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string error;
    const auto message = tavcodec::decode(reinterpret_cast<const char*>(data), size, error);
    if (!message) {
        require(!error.empty()); // a refusal always says why
        return 0;
    }
    size_t objects = 0;
    for (cObject* object = message->list->first(); object != nullptr; object = message->list->next()) {
        ++objects;
        if (const auto* port = dynamic_cast<const cObjectPort*>(object)) {
            require(std::string(port->getPortLabel()).size() <= tavcodec::kMaxLabel);
            (void)tavcodec::setKey(*object);
            require(!tavcodec::encodeSet(1, *object).empty()); // what was read can be written
        }
    }
    require(objects <= tavcodec::kMaxObjects);
    return 0;
}
