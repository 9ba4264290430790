#include "portIndex.h"

#include <atomic>

void PortIndex::build(WList* list)
{
    static std::atomic<uint64_t> last{0};
    m_number = ++last;
    m_list = list;
    m_size = list->size();
    m_byLabel.clear();
    m_byPlace.clear();
    list->reset();
    for (uint16_t i = m_size; i > 0; --i) {
        if (auto* port = static_cast<cObjectPort*>(list->get())) {
            if (port->getPortLabel() != nullptr)
                m_byLabel.emplace(port->getPortLabel(), port); // keeps the first port of a label
            m_byPlace.emplace(std::make_tuple(port->getDeviceSerial(), port->getPortId(), port->getPortType()), port);
        }
        list->step();
    }
}

cObjectPort* PortIndex::find(const char* label) const
{
    const auto found = m_byLabel.find(label);
    return found != m_byLabel.end() ? found->second : nullptr;
}

cObjectPort* PortIndex::find(uint32_t serial, int id, int type) const
{
    const auto found = m_byPlace.find(std::make_tuple(serial, id, type));
    return found != m_byPlace.end() ? found->second : nullptr;
}
