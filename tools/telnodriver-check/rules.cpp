// Finds rules that are never or always active, contradict each other or form a loop.
#include "Evaluation.h"
#include "Site.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

constexpr size_t kMostNamed = 8; // inputs in one line of the report

bool isAlarm(tavConnection* connection)
{
    return connection->getAction()->getType() == tavTrigger::kTypeGsm;
}

class Rules {
public:
    Rules(const Site& site, Evaluation& evaluation, Report& report)
        : m_site(site), m_evaluation(evaluation), m_report(report), m_connections(evaluation.connections())
    {
    }

    void check()
    {
        for (size_t i = 0; i < m_connections.size(); ++i)
            checkConstant(i);
        checkOutputs();
        checkLoops();
    }

private:
    // Reports only the outermost trigger that is constant.
    void checkConstant(size_t index)
    {
        const std::vector<tavTrigger*> triggers = Evaluation::composites(m_connections[index]->getTrigger());
        const std::vector<long>& lines = m_site.rules[index].triggers;
        const bool inverse = std::any_of(triggers.begin(), triggers.end(), [](tavTrigger* trigger) {
            return trigger->getOperation() == tavTrigger::INVERSE;
        });
        if (inverse || triggers.size() != lines.size())
            return; // never active for another reason, which is reported
        std::set<tavTrigger*> covered;
        for (size_t i = 0; i < triggers.size(); ++i) {
            const char* word = nullptr;
            if (covered.count(triggers[i]) == 0)
                word = m_evaluation.canBe(triggers[i], true) == false    ? "never active"
                       : m_evaluation.canBe(triggers[i], false) == false ? "always active"
                                                                         : nullptr;
            if (word == nullptr)
                continue;
            for (tavTrigger* inner : Evaluation::composites(triggers[i]))
                covered.insert(inner);
            const std::string name = triggers[i]->getOperation() == tavTrigger::AND ? "AND" : "OR";
            m_report.warning(m_site.pairs, lines[i],
                             "this " + name + " over " + inputs(triggers[i]) + " is " + word +
                                 ", whatever the inputs are: correct an operation or an io_invert");
        }
    }

    static std::string inputs(tavTrigger* trigger)
    {
        std::string names;
        size_t count = 0;
        for (const std::string& label : Evaluation::inputsOf(trigger)) {
            if (++count > kMostNamed)
                return names + " and others";
            names += (count == 1 ? "" : ", ") + label;
        }
        return names;
    }

    void checkOutputs()
    {
        std::map<std::string, size_t> driven;
        for (size_t i = 0; i < m_connections.size(); ++i) {
            const std::string label = m_connections[i]->getAction()->getLabel();
            if (isAlarm(m_connections[i]))
                continue;
            const auto other = driven.emplace(label, i);
            if (other.second)
                continue;
            const std::string place = std::to_string(m_site.rules[other.first->second].action);
            m_report.warning(m_site.pairs, m_site.rules[i].action,
                             "the output " + label + " is driven by the connection of line " + place + ", too" +
                                 verdict(m_connections[other.first->second], m_connections[i]));
        }
    }

    std::string verdict(tavConnection* one, tavConnection* other)
    {
        bool certain = true;
        const auto states = m_evaluation.contradiction(one, other, certain);
        if (!states)
            return certain ? ", always in the same way: remove one of them"
                           : ": the last one evaluated wins; join their triggers";
        std::string shown;
        size_t count = 0;
        for (const auto& state : *states) {
            if (++count > kMostNamed) {
                shown += " and so on";
                break;
            }
            shown += (shown.empty() ? "" : ", ") + state.first + (state.second ? " set" : " clear");
        }
        return ", and they contradict each other with " + shown + ": the last one evaluated wins; join their triggers";
    }

    // An input with the label of a record stands for an SMS, even if an output has that label.
    std::set<std::string> commanded() const
    {
        std::set<std::string> records, both;
        for (const Record& record : m_site.records)
            records.insert(record.label);
        for (const Place& place : m_site.commanded) {
            if (records.count(place.label) != 0)
                both.insert(place.label);
        }
        return both;
    }

    void checkLoops()
    {
        const std::set<std::string> bySms = commanded();
        for (size_t i = 0; i < m_connections.size(); ++i) {
            if (isAlarm(m_connections[i]))
                continue;
            for (const std::string& input : Evaluation::inputsOf(m_connections[i]->getTrigger())) {
                if (bySms.count(input) == 0)
                    m_readers[input].push_back(i);
            }
        }
        m_order.assign(m_connections.size(), 0);
        m_lowest = m_order;
        m_onPath.assign(m_connections.size(), false);
        for (size_t i = 0; i < m_connections.size(); ++i) {
            if (m_order[i] == 0 && !isAlarm(m_connections[i]))
                follow(i);
        }
    }

    const std::vector<size_t>& after(size_t rule) const
    {
        static const std::vector<size_t> none;
        const auto readers = m_readers.find(m_connections[rule]->getAction()->getLabel());
        return readers != m_readers.end() ? readers->second : none;
    }

    // Rules that lead to one another are the strongly connected components, as Tarjan's algorithm finds them.
    void follow(size_t start)
    {
        std::vector<std::pair<size_t, size_t>> steps; // a rule, and how many of those after it are done
        const auto enter = [&](size_t rule) {
            m_order[rule] = m_lowest[rule] = ++m_visited;
            m_path.push_back(rule);
            m_onPath[rule] = true;
            steps.emplace_back(rule, 0);
        };
        enter(start);
        while (!steps.empty()) {
            const size_t rule = steps.back().first;
            if (steps.back().second < after(rule).size()) {
                const size_t next = after(rule)[steps.back().second++];
                if (m_order[next] == 0)
                    enter(next);
                else if (m_onPath[next])
                    m_lowest[rule] = std::min(m_lowest[rule], m_order[next]);
                continue;
            }
            if (m_lowest[rule] == m_order[rule])
                takeLoop(rule);
            steps.pop_back();
            if (!steps.empty())
                m_lowest[steps.back().first] = std::min(m_lowest[steps.back().first], m_lowest[rule]);
        }
    }

    void takeLoop(size_t rule)
    {
        std::vector<size_t> loop;
        do {
            loop.push_back(m_path.back());
            m_onPath[m_path.back()] = false;
            m_path.pop_back();
        } while (loop.back() != rule);
        const std::vector<size_t>& next = after(rule);
        if (loop.size() > 1 || std::find(next.begin(), next.end(), rule) != next.end())
            tellLoop(loop);
    }

    void tellLoop(std::vector<size_t>& loop)
    {
        std::sort(loop.begin(), loop.end());
        const std::string label = m_connections[loop.front()]->getAction()->getLabel();
        std::string lines;
        for (size_t i = 1; i < loop.size(); ++i)
            lines += (i == 1 ? " " : ", ") + std::to_string(m_site.rules[loop[i]].action);
        m_report.warning(m_site.pairs, m_site.rules[loop.front()].action,
                         loop.size() == 1
                             ? "the output " + label +
                                   " is an input of its own rule, which may oscillate or "
                                   "stay active for ever: use another input"
                             : "the output " + label + " leads back to its own rule by the connections of line" +
                                   (loop.size() > 2 ? "s" : "") + lines +
                                   ", which may oscillate or stay active for ever: break the loop");
    }

    const Site& m_site;
    Evaluation& m_evaluation;
    Report& m_report;
    const std::vector<tavConnection*>& m_connections;
    std::map<std::string, std::vector<size_t>> m_readers; // rules by the label of an input
    std::vector<size_t> m_order, m_lowest, m_path;
    std::vector<bool> m_onPath;
    size_t m_visited = 0;
};

} // namespace

void checkRules(const Site& site, Report& report)
{
    if (site.rules.empty())
        return;
    cWlog::init(cWlog::FATAL); // the reader's findings are in the report already
    static auto* const evaluation = new Evaluation(site.pairs);
    if (evaluation->connections().size() == site.rules.size())
        Rules(site, *evaluation, report).check();
}
