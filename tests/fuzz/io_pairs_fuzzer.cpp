// The I/O pair file: read, walked as an evaluation walks it, shown, destroyed.
#include "IOpairs.h"
#include "fuzz.h"

#include <cstring>

namespace {

void check(const tavTrigger& trigger)
{
    require(std::strlen(trigger.getLabel()) < tavTrigger::kLabelBytes);
    WList* const children = trigger.getTriggerLst();
    if (children == nullptr) {
        require(trigger.getLabel()[0] != '\0'); // neither leaf nor action is without a label
        return;
    }
    require(children->size() > 0);
    children->reset();
    for (unsigned left = children->size(); left > 0; --left, children->step())
        check(*static_cast<tavTrigger*>(children->get()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    const std::string path = file.path();
    WList* const list = cIOpairs(path.c_str()).getConnectionLst();
    require(list == nullptr || !list->empty());
    while (list != nullptr && !list->empty()) {
        auto* const connection = static_cast<tavConnection*>(list->pull());
        check(*connection->getTrigger());
        check(*connection->getAction());
        connection->show();
        delete connection;
    }
    delete list;
    return 0;
}
