// Look-up of a port in a port list, by label or by an event's fields.
#ifndef PORTINDEX_H
#define PORTINDEX_H

#include "WList.h"
#include "cObject.h"

#include <cstdint>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>

/// Finds the port that a walk over the list would find first, in nearly constant time.
/// Borrows the list and its ports; their labels, serials, ids and types must not change.
/// Threads: no lock; the list's lock guards it.
class PortIndex {
public:
    /// Indexes the ports of @p list (cObjectPort*; null entries are skipped) instead of the earlier ones. Moves the
    /// list's cursor. Each call gives the index a new number(), unique in the process.
    void build(WList* list);
    /// Whether the index was built from @p list, and the list still has that length. If not, walk the list.
    bool isOf(WList* list) const { return list != nullptr && list == m_list && list->size() == m_size; }
    /// Never 0.
    uint64_t number() const { return m_number; }
    /// @return the first port with this label; null if there is none
    cObjectPort* find(const char* label) const;
    cObjectPort* find(uint32_t serial, int id, int type) const;

private:
    WList* m_list = nullptr;
    uint16_t m_size = 0;
    uint64_t m_number = 0;
    std::unordered_map<std::string_view, cObjectPort*> m_byLabel; // the ports own the texts
    std::map<std::tuple<uint32_t, int, int>, cObjectPort*> m_byPlace;
};

#endif
