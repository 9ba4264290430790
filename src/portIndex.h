// From a label, or from what an event names, to a port of one port list.
#ifndef PORTINDEX_H
#define PORTINDEX_H

#include "WList.h"
#include "cObject.h"

#include <cstdint>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>

/// Finds what a walk over the list would find first, in a time that hardly depends on the list's length.
/// Borrows the list and its ports, whose labels, serials, ids and types stay as they are meanwhile.
/// No lock: as the list that it belongs to.
class PortIndex {
public:
    /// Takes the ports of @p list (cObjectPort*, null entries are left out) in place of the earlier ones; moves its
    /// cursor. Each call gives the index another number(), which no index of the process had before.
    void build(WList* list);
    /// Whether @p list is the one that the index was built from, and as long as it was then. Where not, who asks walks.
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
    std::unordered_map<std::string_view, cObjectPort*> m_byLabel; // the texts are the ports'
    std::map<std::tuple<uint32_t, int, int>, cObjectPort*> m_byPlace;
};

#endif
