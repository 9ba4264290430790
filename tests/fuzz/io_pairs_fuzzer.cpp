// The I/O pair file: read, walked as an evaluation walks it, shown, destroyed.
#include "IOpairs.h"
#include "cWlog.h"
#include "inputFile.h"

#include <cstdlib>
#include <cstring>

namespace {

void check(const tavTrigger& trigger)
{
    if (std::strlen(trigger.getLabel()) >= tavTrigger::kLabelBytes) {
        std::abort();
    }
    WList* const children = trigger.getTriggerLst();
    if (children == nullptr) {
        if (trigger.getLabel()[0] == '\0') {
            std::abort(); // neither leaf nor action is without a label
        }
        return;
    }
    if (children->size() == 0) {
        std::abort();
    }
    children->reset();
    for (unsigned left = children->size(); left > 0; --left, children->step()) {
        check(*static_cast<tavTrigger*>(children->get()));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    cWlog::init(cWlog::FATAL);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    const std::string path = file.path();
    WList* const list = cIOpairs(path.c_str()).getConnectionLst();
    if (list == nullptr) {
        return 0;
    }
    if (list->empty()) {
        std::abort();
    }
    while (void* const entry = list->pull()) {
        auto* const connection = static_cast<tavConnection*>(entry);
        check(*connection->getTrigger());
        check(*connection->getAction());
        connection->show();
        delete connection;
    }
    delete list;
    return 0;
}
