// Checks the I/O pair file for mistakes that its reader ignores.
#include "Elements.h"
#include "Site.h"

#include "xmlFile.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <sys/stat.h>

namespace {

const std::vector<std::string> kTypes = {"IO", "AC", "ANALOG", "ANALOG_IO", "GSM"};
const std::vector<std::string> kOperations = {"OR", "AND", "INV", "INVERSE"};
constexpr size_t kLongestLabel = 31, kMostChildren = 65535;

class PairFile : private Elements {
public:
    PairFile(Site& site, Report& report) : Elements(site.pairs, report), m_site(site) {}

    void check(xmlNode* root)
    {
        checkNamespace(root);
        bool any = false;
        forEachElement(root, {"connection"}, [&](xmlNode* connection) {
            any = true;
            checkConnection(connection);
        });
        if (!any)
            warning(root, "no connection: no output will ever be driven");
    }

private:
    // Adds a connection to the site, unless it is refused.
    struct Gathered {
        std::vector<Place> inputs, last, commanded, outputs, alarms;
        std::vector<long> triggers;
        long action = 0;
    };

    std::string operation(xmlNode* node)
    {
        checkAttributes(node, {"operation"});
        const std::string word = attribute(node, "operation").value_or("OR");
        if (std::find(kOperations.begin(), kOperations.end(), word) == kOperations.end())
            error(node, "the operation \"" + word + "\" is unknown and treated as OR: write OR, AND or INVERSE");
        return word;
    }

    // The label of a detail; empty if it has no usable label.
    std::string label(xmlNode* detail)
    {
        checkAttributes(detail, {"io_label", "dev_type", "io_invert"});
        const std::string text = attribute(detail, "io_label").value_or("");
        const auto type = attribute(detail, "dev_type"), invert = attribute(detail, "io_invert");
        if (type && std::find(kTypes.begin(), kTypes.end(), *type) == kTypes.end())
            warning(detail, "the device type \"" + *type + "\" is unknown: write IO, AC, ANALOG, ANALOG_IO or GSM");
        if (invert && *invert != "true" && *invert != "false")
            error(detail, "io_invert=\"" + *invert + "\" does not invert: only \"true\" does");
        if (text.size() <= kLongestLabel) {
            checkLabel(detail, "io_label", text);
            return text;
        }
        error(detail, "the label " + text +
                          " has more than 31 characters, so the whole connection is refused: use a shorter one");
        m_refused = true;
        return {};
    }

    void checkConnection(xmlNode* connection)
    {
        checkAttributes(connection, {});
        m_gathered = Gathered();
        m_refused = false;
        int triggers = 0, actions = 0;
        bool usable[2] = {false, false};
        forEachElement(connection, {"trigger", "action"}, [&](xmlNode* side) {
            const bool trigger = xmlFile::isElement(side, "trigger");
            ++(trigger ? triggers : actions);
            usable[trigger ? 0 : 1] |= trigger ? checkOutermost(side) : checkAction(side);
        });
        if (triggers > 1 || actions > 1)
            warning(connection, "several triggers or actions: only the last usable one of each counts");
        if (m_refused)
            return;
        if (!usable[0])
            error(connection, "the connection is left out, because it has no usable trigger: give it a trigger with a "
                              "labelled detail");
        if (!usable[1])
            error(connection, "the connection is left out, because it has no usable action: give it an action with a "
                              "labelled detail");
        if (usable[0] && usable[1])
            m_site.rules.push_back({m_gathered.action, m_gathered.triggers});
        append(m_site.inputs, m_gathered.inputs);
        append(m_site.last, m_gathered.last);
        append(m_site.commanded, m_gathered.commanded);
        append(m_site.outputs, m_gathered.outputs);
        append(m_site.alarms, m_gathered.alarms);
    }

    static void append(std::vector<Place>& all, const std::vector<Place>& more)
    {
        all.insert(all.end(), more.begin(), more.end());
    }

    bool checkOutermost(xmlNode* trigger)
    {
        const std::vector<long> before = m_gathered.triggers;
        m_gathered.triggers.clear();
        const bool usable = checkTrigger(trigger, true);
        if (!usable)
            m_gathered.triggers = before;
        return usable;
    }

    bool checkTrigger(xmlNode* trigger, bool outermost)
    {
        const std::string word = operation(trigger);
        if (word == "INV" || word == "INVERSE")
            error(trigger, "a trigger whose operation is INVERSE never acts: use OR or AND, and io_invert on a detail");
        const size_t place = m_gathered.triggers.size();
        m_gathered.triggers.push_back(xmlGetLineNo(trigger));
        size_t children = 0;
        Place last{"", 0};
        std::map<std::pair<std::string, bool>, long> seen;
        forEachElement(trigger, {"detail", "trigger"}, [&](xmlNode* child) {
            if (xmlFile::isElement(child, "trigger")) {
                if (checkTrigger(child, false)) {
                    ++children;
                    last = m_last;
                }
            } else if (checkInput(child, outermost, seen)) {
                ++children;
                last = m_gathered.inputs.back();
            }
        });
        if (children > kMostChildren) {
            error(trigger,
                  "the whole connection is refused, because a trigger has more than 65535 children: nest them");
            m_refused = true;
        }
        if (children > 1)
            m_gathered.last.push_back(last);
        m_last = last;
        if (children == 0)
            m_gathered.triggers.resize(place);
        return children > 0;
    }

    // @p seen: the inputs of the same trigger so far, and whether they are inverted, with their lines
    bool checkInput(xmlNode* detail, bool outermost, std::map<std::pair<std::string, bool>, long>& seen)
    {
        const std::string text = label(detail);
        if (text.empty()) {
            if (!m_refused)
                warning(detail, "a detail without a label has no effect: give it an io_label");
            return false;
        }
        const long line = xmlGetLineNo(detail);
        const bool inverted = attribute(detail, "io_invert").value_or("") == "true";
        const auto twin = seen.emplace(std::make_pair(text, inverted), line);
        if (!twin.second)
            warning(detail, "the same detail is in line " + std::to_string(twin.first->second) +
                                ": remove one, or correct its label");
        if (attribute(detail, "dev_type").value_or("") == "GSM")
            warning(detail, "GSM on an input is ignored: write IO; for an alarm SMS, write GSM in "
                            "the action");
        m_gathered.inputs.push_back({text, line});
        if (outermost)
            m_gathered.commanded.push_back({text, line});
        return true;
    }

    // The details of an action are merged: the last value of each attribute counts.
    bool checkAction(xmlNode* action)
    {
        if (operation(action) == "AND")
            warning(action, "AND on an action is ignored: remove it, or write it on the trigger");
        std::string gathered, type;
        int details = 0;
        forEachElement(action, {"detail"}, [&](xmlNode* detail) {
            ++details;
            if (attribute(detail, "io_label"))
                gathered = label(detail);
            type = attribute(detail, "dev_type").value_or(type);
            if (attribute(detail, "io_invert").value_or("false") == "true")
                warning(detail, "io_invert has no effect on an action: write operation=\"INVERSE\" on the action");
        });
        if (details > 1)
            warning(action, "the details of one action are merged: make a connection for each output");
        if (gathered.empty())
            return false;
        m_gathered.action = xmlGetLineNo(action);
        (type == "GSM" ? m_gathered.alarms : m_gathered.outputs).push_back({gathered, xmlGetLineNo(action)});
        return true;
    }

    Site& m_site;
    Gathered m_gathered;
    bool m_refused = false; // the connection being checked
    Place m_last{"", 0};    // the last input of the last trigger
};

} // namespace

void reportUnusable(const std::string& file, const std::string& trouble, const std::string& consequence, Report& report)
{
    std::string why = trouble;
    long line = 0;
    if (why.rfind(file + ':', 0) == 0) {
        why.erase(0, file.size() + 1);
        const size_t digits = why.find_first_not_of("0123456789");
        if (digits != 0 && digits != std::string::npos && why[digits] == ':') {
            line = strtol(why.c_str(), nullptr, 10);
            why.erase(0, digits + 1);
        }
        why.erase(0, why.find_first_not_of(' '));
    }
    struct stat status {};
    if (stat(file.c_str(), &status) != 0)
        why += "; correct the path, or the file's permissions";
    report.error(file, line, "cannot be used, so " + consequence + ": " + why);
}

void checkPairs(Site& site, Report& report)
{
    std::string trouble;
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(xmlFile::open(site.pairs.c_str(), trouble), xmlFreeDoc);
    if (!document) {
        reportUnusable(site.pairs, trouble, "no output is driven", report);
        return;
    }
    xmlNode* root = xmlDocGetRootElement(document.get());
    if (!xmlFile::isElement(root, "io_connections"))
        report.error(site.pairs, root != nullptr ? xmlGetLineNo(root) : 0,
                     "the root element is not io_connections, so no output is driven");
    else
        PairFile(site, report).check(root);
}
