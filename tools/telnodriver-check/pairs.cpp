// The I/O pair file: what its reader tolerates silently.
#include "Site.h"

#include "xmlFile.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>

namespace {

const std::vector<std::string> kTypes = {"IO", "AC", "ANALOG", "ANALOG_IO", "GSM"};
const std::vector<std::string> kOperations = {"OR", "AND", "INV", "INVERSE"};
constexpr size_t kLongestLabel = 31;

class PairFile {
public:
    PairFile(Site& site, Report& report) : m_site(site), m_report(report) {}

    void check(xmlNode* root)
    {
        bool any = false;
        forEachElement(root, {"connection"}, [&](xmlNode* connection) {
            any = true;
            checkConnection(connection);
        });
        if (!any)
            warning(root, "no connection: no output will ever be driven");
    }

private:
    template <typename Take> void forEachElement(xmlNode* parent, const std::vector<std::string>& known, Take take)
    {
        for (xmlNode* node = parent->children; node != nullptr; node = node->next) {
            if (node->type != XML_ELEMENT_NODE)
                continue;
            const std::string name = xmlFile::nameOf(node);
            if (std::find(known.begin(), known.end(), name) != known.end()) {
                take(node);
                continue;
            }
            const std::string meant = likely(name, known);
            warning(node,
                    "the element " + name + " is skipped" + (meant.empty() ? "" : ": " + meant + " may be meant"));
        }
    }

    void checkAttributes(xmlNode* node, const std::vector<std::string>& known)
    {
        for (xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
            const std::string name(reinterpret_cast<const char*>(attribute->name));
            if (std::find(known.begin(), known.end(), name) == known.end()) {
                const std::string meant = likely(name, known);
                warning(node, "the attribute " + name + " of " + xmlFile::nameOf(node) + " is not read" +
                                  (meant.empty() ? "" : ": " + meant + " may be meant"));
            }
        }
    }

    static std::optional<std::string> attribute(xmlNode* node, const char* name)
    {
        std::optional<std::string> value;
        xmlFile::forEachAttribute(node, name, [&](char* text) { value = text; });
        return value;
    }

    std::string operation(xmlNode* node)
    {
        checkAttributes(node, {"operation"});
        const std::string word = attribute(node, "operation").value_or("OR");
        if (std::find(kOperations.begin(), kOperations.end(), word) == kOperations.end())
            error(node, "the operation \"" + word + "\" is none, and OR is taken: write OR, AND or INVERSE");
        return word;
    }

    // The label of a detail; empty if it has none that can be used.
    std::string label(xmlNode* detail)
    {
        checkAttributes(detail, {"io_label", "dev_type", "io_invert"});
        const std::string text = attribute(detail, "io_label").value_or("");
        const auto type = attribute(detail, "dev_type"), invert = attribute(detail, "io_invert");
        if (type && std::find(kTypes.begin(), kTypes.end(), *type) == kTypes.end())
            warning(detail, "the device type \"" + *type + "\" is none: write IO, AC, ANALOG, ANALOG_IO or GSM");
        if (invert && *invert != "true" && *invert != "false")
            error(detail, "io_invert=\"" + *invert + "\" does not invert: only \"true\" does");
        if (text.size() <= kLongestLabel)
            return text;
        error(detail,
              "the label " + text + " has more than 31 characters, and the detail is refused: use a shorter one");
        return {};
    }

    void checkConnection(xmlNode* connection)
    {
        checkAttributes(connection, {});
        int triggers = 0, actions = 0;
        bool usable[2] = {false, false};
        forEachElement(connection, {"trigger", "action"}, [&](xmlNode* side) {
            const bool trigger = xmlFile::isElement(side, "trigger");
            ++(trigger ? triggers : actions);
            usable[trigger ? 0 : 1] |= trigger ? checkTrigger(side, true) : checkAction(side);
        });
        if (!usable[0])
            error(connection,
                  "no usable trigger, and the connection is left out: give it a trigger with a labelled detail");
        if (!usable[1])
            error(connection,
                  "no usable action, and the connection is left out: give it an action with a labelled detail");
        if (triggers > 1 || actions > 1)
            warning(connection, "several triggers or actions: only the last usable one of each counts");
    }

    bool checkTrigger(xmlNode* trigger, bool outermost)
    {
        const std::string word = operation(trigger);
        if (word == "INV" || word == "INVERSE")
            error(trigger, "a trigger whose operation is INVERSE never acts: use OR or AND, and io_invert on a detail");
        int children = 0;
        Place last{"", 0};
        std::map<std::string, std::set<bool>> senses;
        forEachElement(trigger, {"detail", "trigger"}, [&](xmlNode* child) {
            if (xmlFile::isElement(child, "trigger")) {
                if (checkTrigger(child, false)) {
                    ++children;
                    last = m_last;
                }
                return;
            }
            const std::string text = label(child);
            if (text.empty()) {
                warning(child, "a detail without a label adds nothing: give it an io_label");
                return;
            }
            ++children;
            last = {text, xmlGetLineNo(child)};
            senses[text].insert(attribute(child, "io_invert").value_or("") == "true");
            m_site.inputs.push_back({text, xmlGetLineNo(child)});
            if (outermost)
                m_site.commanded.push_back({text, xmlGetLineNo(child)});
        });
        if (children > 1)
            m_site.last.push_back(last);
        m_last = last;
        for (const auto& sense : senses) {
            if (sense.second.size() == 2 && word == "AND")
                warning(trigger, "an AND over " + sense.first + " and its inverse never acts: take one of them away");
            else if (sense.second.size() == 2)
                warning(trigger, "an OR over " + sense.first + " and its inverse always acts: take one of them away");
        }
        return children > 0;
    }

    // All details of an action are one set of values: the last of each attribute counts.
    bool checkAction(xmlNode* action)
    {
        operation(action);
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
            warning(action, "the details of one action are read into one: make a connection for each output");
        if (gathered.empty())
            return false;
        (type == "GSM" ? m_site.alarms : m_site.outputs).push_back({gathered, xmlGetLineNo(action)});
        return true;
    }

    void error(xmlNode* node, const std::string& text) { m_report.error(m_site.pairs, xmlGetLineNo(node), text); }
    void warning(xmlNode* node, const std::string& text) { m_report.warning(m_site.pairs, xmlGetLineNo(node), text); }

    Site& m_site;
    Report& m_report;
    Place m_last{"", 0}; // the input at the end of the trigger that was checked last
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
    report.error(file, line, "cannot be used, and " + consequence + ": " + why);
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
                     "the document element is not io_connections, and no output is driven");
    else
        PairFile(site, report).check(root);
}
