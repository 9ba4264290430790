// Checks between files: labels, messages and numbers that do not match, and cards that answer each other.
#include "Server.h"
#include "Site.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

namespace {

constexpr size_t kLongestAlarm = 135;
const std::string kAlarmEnd = " LOW";

bool begins(const std::string& text, const std::string& with)
{
    return text.rfind(with, 0) == 0;
}

bool holds(const std::vector<Place>& places, const std::string& label)
{
    return std::any_of(places.begin(), places.end(), [&](const Place& place) { return place.label == label; });
}

// An SMS has one sender, so it cannot command two records without a common number.
bool shareNumber(const Record& one, const Record& other)
{
    return std::any_of(one.numbers.begin(), one.numbers.end(), [&](const std::string& number) {
        return std::find(other.numbers.begin(), other.numbers.end(), number) != other.numbers.end();
    });
}

void checkCase(const Site& site, Report& report)
{
    std::map<std::string, std::pair<std::string, long>> seen;
    std::vector<Place> all = site.inputs;
    all.insert(all.end(), site.outputs.begin(), site.outputs.end());
    all.insert(all.end(), site.alarms.begin(), site.alarms.end());
    const size_t ofPairs = all.size();
    for (const Record& record : site.records)
        all.push_back({record.label, record.line});
    for (size_t i = 0; i < all.size(); ++i) {
        const Place& place = all[i];
        std::string lower = place.label;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(tolower(c)); });
        const auto other = seen.emplace(lower, std::make_pair(place.label, place.line)).first->second;
        if (other.first != place.label)
            report.warning(i < ofPairs ? site.pairs : site.messages, place.line,
                           "the label " + place.label + " differs only in case from " + other.first + " of line " +
                               std::to_string(other.second) + ": labels are compared exactly");
    }
}

// Whether an input is the last child of an AND or OR. If no earlier child decides, it does, even while it is offline.
bool decides(const Site& site, const Place& input)
{
    return std::any_of(site.last.begin(), site.last.end(),
                       [&](const Place& last) { return last.label == input.label && last.line == input.line; });
}

void checkRecords(const Site& site, Report& report)
{
    for (const Record& record : site.records) {
        if (!record.label.empty() && !holds(site.commanded, record.label) && !holds(site.alarms, record.label))
            report.warning(site.messages, record.line,
                           "no outermost trigger has a detail labelled " + record.label +
                               ", and no GSM action has that label: ON and OFF do nothing");
        for (const Record& other : site.records) {
            if (&other == &record || record.message.empty() || !begins(other.message, record.message) ||
                !shareNumber(record, other))
                continue;
            report.error(site.messages, record.line,
                         "the message \"" + record.message + "\" begins that of line " + std::to_string(other.line) +
                             ": one SMS would command both");
        }
        // A card takes "MESSAGE STATE:HIGH" or "MESSAGE LOW" from another card for a command, if the text begins with
        // the message of its own record and this lists the other card's number.
        for (const Record& other : site.records) {
            for (const char* sent : {" STATE:", " LOW"}) {
                if (!record.message.empty() && begins(other.message + sent, record.message) &&
                    record.message.size() > other.message.size())
                    report.warning(site.messages, record.line,
                                   "another card's \"" + other.message + sent +
                                       "\" would be a command for this record, if cards list each other's numbers");
            }
        }
    }
}

void checkAlarms(const Site& site, Report& report)
{
    for (const Record& record : site.records) {
        if (holds(site.alarms, record.label) && record.message.size() + kAlarmEnd.size() > kLongestAlarm)
            report.error(site.messages, record.line,
                         "the alarm text is cut to 135 characters, including \" LOW\": use a message of at most 131");
    }
    for (const Place& alarm : site.alarms) {
        const bool found = std::any_of(site.records.begin(), site.records.end(),
                                       [&](const Record& record) { return record.label == alarm.label; });
        if (!found)
            report.error(site.pairs, alarm.line,
                         "no record of " + site.messages + " is named " + alarm.label + ": this action sends nothing");
    }
}

// A text that one card sends and the other obeys: a reply (the answer to a QUERY) or an alarm.
struct Obeyed {
    long sender, receiver; // lines
    std::string text;
    bool alarm;
};

// Both end in neither OFF nor QUERY, so they are obeyed as ON by a record whose message they begin with.
std::vector<Obeyed> obeyed(const Site& from, const Site& at)
{
    std::vector<Obeyed> found;
    for (const Record& sender : from.records) {
        const bool alarms =
            from.pairs.empty() || holds(from.alarms, sender.label); // the other card's pair file may be unknown
        for (const Record& receiver : at.records) {
            for (const bool alarm : {false, true}) {
                if (alarm && !alarms)
                    continue;
                const std::string text = sender.message + (alarm ? " LOW" : " STATE:HIGH");
                if (begins(text, receiver.message))
                    found.push_back({sender.line, receiver.line, text, alarm});
            }
        }
    }
    return found;
}

} // namespace

void checkPeer(const Site& site, const std::string& peer, Report& report)
{
    Site other;
    other.messages = peer;
    other.namesMessages = true;
    checkMessages(other, report);
    const std::vector<Obeyed> here = obeyed(other, site), there = obeyed(site, other);
    const auto alarms = [](const std::vector<Obeyed>& all) {
        return std::any_of(all.begin(), all.end(), [](const Obeyed& one) { return one.alarm; });
    };
    const std::string loop = alarms(here) && alarms(there)
                                 ? ", and both cards may so answer each other's alarms for ever: begin the messages of "
                                   "each card differently"
                                 : ": begin the messages of each card differently";
    const auto tell = [&](const std::vector<Obeyed>& all, const std::string& from, const std::string& at) {
        for (const Obeyed& one : all) {
            const std::string text = "\"" + one.text + "\" of " + from + ':' + std::to_string(one.sender) +
                                     " is obeyed as ON here, where its sender's number is listed" + loop;
            one.alarm ? report.error(at, one.receiver, text) : report.warning(at, one.receiver, text);
        }
    };
    tell(here, peer, site.messages);
    if (peer != site.messages)
        tell(there, site.messages, peer);
}

void checkTogether(const Site& site, Report& report)
{
    checkCase(site, report);
    checkRecords(site, report);
    checkAlarms(site, report);
}

void checkServer(const Site& site, const std::string& host, Report& report)
{
    Server server(host);
    const auto ask = [&](const std::vector<Place>& places, bool outputs) {
        std::vector<std::string> labels;
        for (const Place& place : places)
            labels.push_back(place.label);
        const std::unique_ptr<cObjectList> answer = server.ports(labels, outputs);
        if (!answer)
            return false;
        std::set<std::string> known;
        for (cObject* object = answer->first(); object != nullptr; object = answer->next()) {
            if (const auto* found = dynamic_cast<cObjectPort*>(object))
                known.insert(found->getPortLabel());
        }
        answer->deleteObjects();
        for (const Place& place : places) {
            if (known.count(place.label) == 0 && !outputs && decides(site, place))
                report.warning(site.pairs, place.line,
                               "the object server has no input " + place.label +
                                   ", so its trigger has no state, since this is the last child: put a known "
                                   "input last, or remove it");
            else if (known.count(place.label) == 0)
                report.warning(site.pairs, place.line,
                               std::string("the object server has no ") + (outputs ? "output " : "input ") +
                                   place.label);
        }
        return true;
    };
    if (!ask(site.inputs, false) || !ask(site.outputs, true))
        report.error(site.properties, 0, "the object server at " + host + " does not answer");
}
