#include "cObjectList.h"

cObject* cObjectList::first()
{
    mNext = 0;
    return next();
}

cObject* cObjectList::next()
{
    return mNext < mObjects.size() ? mObjects[mNext++] : nullptr;
}

void cObjectList::deleteObjects()
{
    for (cObject* object : mObjects)
        delete object;
    mObjects.clear();
    mNext = 0;
}
