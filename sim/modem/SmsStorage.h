// The SIM's message storage.
#pragma once

#include "modem/ModemTypes.h"

#include <optional>
#include <vector>

namespace modemsim {

/// Messages in numbered places, from 1.
/// Threads: the owner's lock guards it.
class SmsStorage {
public:
    explicit SmsStorage(int places) : m_places(static_cast<std::size_t>(places > 0 ? places : 0)) {}

    int size() const { return static_cast<int>(m_places.size()); }
    int used() const;
    bool has(int place) const { return place >= 1 && place <= size(); }
    int add(StoredSms message);         ///< stores it in the lowest free place. @return the place; 0 if none is free
    bool put(const StoredSms& message); ///< stores it in its own place; false if there is no such place
    bool erase(int place);              ///< false if there is no such place
    void clear();
    StoredSms* at(int place);            ///< borrowed; null if empty, or without such a place
    std::vector<StoredSms> list() const; ///< in order of places

private:
    std::vector<std::optional<StoredSms>> m_places;
};

const char* statusWord(SmsStatus status); ///< such as "REC UNREAD", 3GPP TS 27.005 clause 3.1
std::optional<SmsStatus> statusOf(const std::string& word);

} // namespace modemsim
