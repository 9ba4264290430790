#include "Explain.h"

#include "Document.h"
#include "Picture.h"
#include "RuleStates.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

int fail(const std::string& why)
{
    fprintf(stderr, "telnodriver-check: %s\n", why.c_str());
    return 2;
}

std::string nameOf(const NodeState& node)
{
    return node.kind == NodeState::INPUT ? node.label : node.kind == NodeState::AND ? "the AND below" : "the OR below";
}

void printNode(const NodeState& node, int depth)
{
    const std::string indent(static_cast<size_t>(depth) * 2, ' ');
    if (node.kind == NodeState::INPUT) {
        printf("%s%s: %s%s: %s\n", indent.c_str(), node.label.c_str(), node.status.c_str(),
               node.inverted ? ", inverted" : "", node.stateWord());
        return;
    }
    const char* const name = node.kind == NodeState::AND  ? "AND"
                             : node.kind == NodeState::OR ? "OR"
                                                          : "INVERSE, which never acts";
    printf("%s%s: %s", indent.c_str(), name, node.stateWord());
    if (node.decider)
        printf(", decided by %s%s", node.decidedAsLast ? "its last child, " : "",
               nameOf(node.children[*node.decider]).c_str());
    printf("\n");
    for (const NodeState& child : node.children)
        printNode(child, depth + 1);
}

int printRules(const std::vector<RuleState>& rules)
{
    int number = 0;
    for (const RuleState& rule : rules) {
        printf("connection %d\n", ++number);
        printNode(rule.trigger, 1);
        printf("  => %s %s: %s%s%s\n", rule.isAlarm ? "GSM action" : "output", rule.action.c_str(), rule.effect.c_str(),
               rule.written.empty() ? "" : ": ", rule.written.c_str());
    }
    return 0;
}

int printTable(RuleStates& states, const std::string& output, bool withOffline)
{
    const std::vector<size_t> rules = states.driving(output);
    if (rules.empty())
        return fail("no connection drives an output labelled " + output);
    for (const size_t rule : rules) {
        const TruthTable table = states.table(rule, withOffline);
        if (table.rows.empty())
            return fail(std::to_string(table.inputs.size()) + " inputs make too long a table");
        for (const std::string& input : table.inputs)
            printf("%-12s ", input.c_str());
        printf("%s\n", output.c_str());
        for (const TruthTable::Row& row : table.rows) {
            for (const char* const state : row.states)
                printf("%-12s ", state);
            printf("%s\n", row.effect);
        }
    }
    return 0;
}

// Takes the states that are asked for.
int takeStates(RuleStates& states, const Explaining& asked)
{
    if (asked.live)
        return states.takeFrom(asked.server) ? 0 : fail("the object server at " + asked.server + " does not answer");
    std::map<std::string, std::string> values;
    for (const std::string& value : asked.values) {
        const size_t equals = value.find('=');
        if (equals == std::string::npos)
            return fail("a value is LABEL=STATUS, not " + value);
        values[value.substr(0, equals)] = value.substr(equals + 1);
    }
    const std::string wrong = states.setInputs(values);
    return wrong.empty() ? 0 : fail(wrong);
}

std::vector<std::string> headingOf(const std::string& pairs, const Explaining& asked)
{
    std::vector<std::string> lines{"Rules of " + pairs};
    if (asked.live) {
        char now[64];
        const time_t seconds = time(nullptr);
        struct tm local {};
        strftime(now, sizeof now, "%Y-%m-%d %H:%M:%S %z", localtime_r(&seconds, &local));
        lines.push_back("States of " + std::string(now) + ", from the object server at " + asked.server);
    } else if (!asked.values.empty()) {
        lines.emplace_back("States with");
        for (const std::string& value : asked.values)
            lines.back() += " " + value + ",";
        lines.back() += " every other input clear";
    }
    return lines;
}

int write(const std::string& file, const std::string& text)
{
    FILE* const out = file.empty() ? stdout : fopen(file.c_str(), "we");
    bool written = out != nullptr && fwrite(text.data(), 1, text.size(), out) == text.size();
    if (out != nullptr && (file.empty() ? fflush(out) : fclose(out)) != 0)
        written = false;
    return written ? 0 : fail((file.empty() ? "standard output" : file) + " cannot be written: " + strerror(errno));
}

} // namespace

int explain(const std::string& pairs, const Explaining& asked)
{
    static RuleStates* const kept = new RuleStates(pairs); // a manager lives as long as the process
    RuleStates& states = *kept;
    if (states.empty())
        return fail(pairs + " yields no connection");
    if (!asked.table.empty())
        return printTable(states, asked.table, asked.offline);
    if (const int status = takeStates(states, asked))
        return status;
    const std::vector<RuleState> rules = states.rules();
    if (!asked.svg && !asked.html)
        return printRules(rules);
    const bool withStates = asked.live || !asked.values.empty();
    const std::vector<std::string> heading = headingOf(pairs, asked);
    const auto text =
        asked.svg ? picture(heading, rules, withStates) : document(heading, rules, states, withStates, asked.offline);
    return text ? write(asked.svg ? *asked.svg : *asked.html, *text) : 2;
}
