// The SIM's message storage.
#pragma once

#include "modem/ModemTypes.h"

#include <optional>
#include <vector>

namespace modemsim {

/// Messages in numbered places, the first is 1. Threads: its owner's lock guards it.
class SmsStorage {
public:
    explicit SmsStorage(int places) : m_places(static_cast<std::size_t>(places > 0 ? places : 0)) {}

    int size() const { return static_cast<int>(m_places.size()); }
    int used() const;
    bool has(int place) const { return place >= 1 && place <= size(); }
    int add(StoredSms message);         ///< into the lowest free place, which it returns; 0: there is none
    bool put(const StoredSms& message); ///< into its own place; false: there is no such place
    bool erase(int place);              ///< false: there is no such place
    void clear();
    StoredSms* at(int place);            ///< borrowed; null: empty or no such place
    std::vector<StoredSms> list() const; ///< in order of places

private:
    std::vector<std::optional<StoredSms>> m_places;
};

const char* statusWord(SmsStatus status); ///< such as "REC UNREAD", 3GPP TS 27.005 clause 3.1
std::optional<SmsStatus> statusOf(const std::string& word);

} // namespace modemsim
