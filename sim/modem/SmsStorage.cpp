#include "modem/SmsStorage.h"

#include <algorithm>

namespace modemsim {

namespace {

const struct {
    SmsStatus status;
    const char* word;
} kWords[] = {{SmsStatus::RecUnread, "REC UNREAD"},
              {SmsStatus::RecRead, "REC READ"},
              {SmsStatus::StoUnsent, "STO UNSENT"},
              {SmsStatus::StoSent, "STO SENT"}};

} // namespace

const char* statusWord(SmsStatus status)
{
    return std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& row) { return row.status == status; })
        ->word;
}

std::optional<SmsStatus> statusOf(const std::string& word)
{
    const auto row = std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& r) { return r.word == word; });
    return row == std::end(kWords) ? std::nullopt : std::optional<SmsStatus>(row->status);
}

int SmsStorage::used() const
{
    return static_cast<int>(
        std::count_if(m_places.begin(), m_places.end(), [](const auto& p) { return p.has_value(); }));
}

int SmsStorage::add(StoredSms message)
{
    const auto free = std::find_if(m_places.begin(), m_places.end(), [](const auto& place) { return !place; });
    if (free == m_places.end()) {
        return 0;
    }
    message.place = static_cast<int>(free - m_places.begin()) + 1;
    *free = std::move(message);
    return (*free)->place;
}

bool SmsStorage::put(const StoredSms& message)
{
    if (!has(message.place)) {
        return false;
    }
    m_places[static_cast<std::size_t>(message.place) - 1] = message;
    return true;
}

bool SmsStorage::erase(int place)
{
    if (!has(place)) {
        return false;
    }
    m_places[static_cast<std::size_t>(place) - 1].reset();
    return true;
}

void SmsStorage::clear()
{
    std::fill(m_places.begin(), m_places.end(), std::nullopt);
}

StoredSms* SmsStorage::at(int place)
{
    if (!has(place)) {
        return nullptr;
    }
    auto& entry = m_places[static_cast<std::size_t>(place) - 1];
    return entry ? &*entry : nullptr;
}

std::vector<StoredSms> SmsStorage::list() const
{
    std::vector<StoredSms> messages;
    for (const auto& place : m_places) {
        if (place) {
            messages.push_back(*place);
        }
    }
    return messages;
}

} // namespace modemsim
