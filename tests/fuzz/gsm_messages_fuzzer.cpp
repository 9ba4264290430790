// The GSM message file: read, every text used, destroyed.
#include "fuzz.h"
#include "gsmIOpairs.h"

#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    const std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> list(cgsmIOpairs().getGsmInfoList(file.path().c_str()));
    for (cgsmMessageInfo* record = list->first(); record != nullptr; record = list->getNext()) {
        require(std::strlen(record->get_message()) < cgsmMessageInfo::kMessageBytes);
        require(std::strlen(record->get_label()) < cgsmMessageInfo::kLabelBytes);
        require(record->get_numCount() >= 0 && record->get_numCount() <= cgsmMessageInfo::kNumbers);
        for (int i = 0; i < record->get_numCount(); ++i)
            require(std::strlen(record->get_numList(i)) < cgsmMessageInfo::kNumberBytes);
        delete record;
    }
    return 0;
}
