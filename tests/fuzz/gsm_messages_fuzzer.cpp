// The GSM message file: read, every text used, destroyed.
#include "cWlog.h"
#include "gsmIOpairs.h"
#include "inputFile.h"

#include <cstdlib>
#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    cWlog::init(cWlog::FATAL);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    const std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> list(cgsmIOpairs().getGsmInfoList(file.path().c_str()));
    for (cgsmMessageInfo* record = list->first(); record != nullptr; record = list->getNext()) {
        if (std::strlen(record->get_message()) >= cgsmMessageInfo::kMessageBytes ||
            std::strlen(record->get_label()) >= cgsmMessageInfo::kLabelBytes || record->get_numCount() < 0 ||
            record->get_numCount() > cgsmMessageInfo::kNumbers) {
            std::abort();
        }
        for (int i = 0; i < record->get_numCount(); ++i) {
            if (std::strlen(record->get_numList(i)) >= cgsmMessageInfo::kNumberBytes) {
                std::abort();
            }
        }
        delete record;
    }
    return 0;
}
