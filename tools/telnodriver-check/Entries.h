// Walking the daemon's lists.
#ifndef CHECK_ENTRIES_H
#define CHECK_ENTRIES_H

#include "WList.h"

#include <vector>

/// A copy of the list's entries, which stay the list's: an evaluation in between moves the list's one cursor.
template <typename Entry> std::vector<Entry*> entriesOf(WList* list)
{
    std::vector<Entry*> entries;
    list->reset();
    for (uint16_t i = list->size(); i > 0; --i) {
        entries.push_back(static_cast<Entry*>(list->get()));
        list->step();
    }
    return entries;
}

#endif
