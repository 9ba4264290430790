#include "tavTrigger.h"

namespace {

void destroy(WList* triggers)
{
    if (triggers == nullptr) {
        return;
    }
    triggers->reset();
    for (unsigned left = triggers->size(); left > 0; --left) {
        delete static_cast<tavTrigger*>(triggers->get());
        triggers->step();
    }
    delete triggers;
}

const char* text(tavTrigger::eOperation operation)
{
    switch (operation) {
    case tavTrigger::AND:
        return "AND";
    case tavTrigger::OR:
        return "OR";
    case tavTrigger::INVERSE:
        return "INV";
    }
    return "UNKNOWN";
}

} // namespace

tavTrigger::~tavTrigger()
{
    destroy(mTriggerLst);
}

void tavTrigger::setTriggerLst(WList* p)
{
    if (p != mTriggerLst) {
        destroy(mTriggerLst);
        mTriggerLst = p;
    }
}

void tavTrigger::show()
{
    std::printf("<TRIGGER>\n");
    std::printf("\tTrigger operation: %s\n", text(mOperation));
    std::printf("\tLabel: %s\n", mLabel);
    std::printf("\tType: %d\n", mType);
    if (mTriggerLst != nullptr) {
        mTriggerLst->reset();
        for (unsigned left = mTriggerLst->size(); left > 0; --left) {
            if (auto* const child = static_cast<tavTrigger*>(mTriggerLst->get())) {
                child->show();
            }
            mTriggerLst->step();
        }
    }
    std::printf("</TRIGGER>\n");
}
