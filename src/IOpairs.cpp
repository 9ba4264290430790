#include "IOpairs.h"

#include "xmlFile.h"

#include <libxml/parser.h>

#include <cstring>
#include <limits>
#include <string>

using xmlFile::forEachAttribute;
using xmlFile::isElement;

cIOpairs::cIOpairs(const char* filename) : cWlog("cIOpairs"), mFilename(filename) {}

cIOpairs::~cIOpairs() = default;

WList* cIOpairs::getConnectionLst()
{
    auto* list = new WList;
    debug("Try open %s", mFilename);
    std::string trouble;
    if (xmlDocPtr document = xmlFile::open(mFilename, trouble)) {
        debug("Opened file OK");
        xmlNodePtr root = xmlDocGetRootElement(document);
        if (isElement(root, "io_connections")) {
            debug("io_connections xml");
            for (xmlNodePtr node = root->children; node != nullptr; node = node->next) {
                if (!isElement(node, "connection")) {
                    continue;
                }
                tavConnection* const connection = getConnection(node);
                if (connection != nullptr && !append(list, connection, node)) {
                    break;
                }
            }
        }
        xmlFreeDoc(document);
    } else {
        error("Fail open\n");
        error("%s", trouble.c_str());
    }
    xmlCleanupParser();
    if (list->size() > 0) {
        return list;
    }
    error("No Connections Returning NULL");
    delete list;
    return nullptr;
}

/// @return the connection of a "connection" element, or null when it lacks a trigger or an action
tavConnection* cIOpairs::getConnection(xmlNodePtr& node)
{
    debug("Create connection");
    auto* const connection = new tavConnection;
    for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
        debug("\nProcess %s\n", xmlFile::nameOf(child));
        if (isElement(child, "trigger")) {
            if (tavTrigger* const trigger = getTrigger(child)) {
                connection->setTrigger(trigger);
            }
        } else if (isElement(child, "action")) {
            if (tavTrigger* const action = getAction(child)) {
                connection->setAction(action);
            }
        }
    }
    if (connection->getTrigger() != nullptr && connection->getAction() != nullptr) {
        return connection;
    }
    delete connection;
    return nullptr;
}

/// Adds @p entry to a list that can count it. @return false when the list is full: the entry is destroyed
template <class Entry> bool cIOpairs::append(WList* list, Entry* entry, xmlNodePtr& node)
{
    if (list->size() == std::numeric_limits<uint16_t>::max()) {
        error("%s:%ld: more than %u entries; the rest is ignored", mFilename, xmlGetLineNo(node), list->size());
        delete entry;
        return false;
    }
    list->add(entry);
    return true;
}

tavTrigger* cIOpairs::getTrigger(xmlNodePtr& node)
{
    auto* const list = new WList;
    auto* const composite = new tavTrigger;
    setOperation(node, composite);
    bool room = true;
    for (xmlNodePtr child = node->children; child != nullptr && room; child = child->next) {
        if (isElement(child, "detail")) {
            char label[tavTrigger::kLabelBytes] = "";
            int type = -1;
            bool invert = false;
            getDetailProperties(child, label, &type, &invert);
            if (label[0] != '\0') {
                auto* const leaf = new tavTrigger;
                leaf->setType(static_cast<uint8_t>(type));
                leaf->setLabel(label);
                leaf->setInvert(invert);
                room = append(list, leaf, child);
            }
        } else if (isElement(child, "trigger")) {
            debug("Got another trigger\n");
            if (tavTrigger* const inner = getTrigger(child)) {
                room = append(list, inner, child);
            }
        }
    }
    if (list->size() > 0) {
        composite->setTriggerLst(list);
        return composite;
    }
    delete list;
    delete composite;
    return nullptr;
}

tavTrigger* cIOpairs::getAction(xmlNodePtr& node)
{
    char label[tavTrigger::kLabelBytes] = "";
    int type = -1;
    bool invert = false;
    auto* const action = new tavTrigger;
    setOperation(node, action);
    for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
        if (isElement(child, "detail")) {
            getDetailProperties(child, label, &type, &invert);
        }
    }
    if (label[0] != '\0') {
        action->setType(static_cast<uint8_t>(type));
        action->setLabel(label);
        return action;
    }
    delete action;
    return nullptr;
}

void cIOpairs::setOperation(xmlNodePtr& node, tavTrigger* action)
{
    forEachAttribute(node, "operation", [&](const char* value) {
        debug("operation = %s\n", value);
        if (std::strcmp(value, "OR") == 0) {
            action->setOperation(tavTrigger::OR);
        } else if (std::strcmp(value, "AND") == 0) {
            action->setOperation(tavTrigger::AND);
        } else if (std::strcmp(value, "INV") == 0 || std::strcmp(value, "INVERSE") == 0) {
            action->setOperation(tavTrigger::INVERSE);
        }
    });
}

/// A label that was cut would name another port, so a detail with a longer one is refused as a whole.
bool cIOpairs::labelFits(xmlNodePtr& ioNode)
{
    bool fits = true;
    forEachAttribute(ioNode, "io_label", [&](const char* value) {
        if (std::strlen(value) >= tavTrigger::kLabelBytes) {
            fits = false;
            error("%s:%ld: detail refused, its io_label has more than %zu characters: %s", mFilename,
                  xmlGetLineNo(ioNode), tavTrigger::kLabelBytes - 1, value);
        }
    });
    return fits;
}

void cIOpairs::getDetailProperties(xmlNodePtr& ioNode, char* label, int* type, bool* invert)
{
    if (!labelFits(ioNode)) {
        return;
    }
    for (xmlAttr* attribute = ioNode->properties; attribute != nullptr; attribute = attribute->next) {
        xmlChar* const fetched = xmlGetProp(ioNode, attribute->name);
        const char* const value = fetched != nullptr ? reinterpret_cast<const char*>(fetched) : "";
        if (xmlStrEqual(attribute->name, BAD_CAST "dev_type") != 0) {
            *type = parseDevType(value);
            debug("Type: %d\n", *type);
        } else if (xmlStrEqual(attribute->name, BAD_CAST "io_label") != 0) {
            std::snprintf(label, tavTrigger::kLabelBytes, "%s", value);
            debug("Lbl: %s\n", label);
        } else if (xmlStrEqual(attribute->name, BAD_CAST "io_invert") != 0 && std::strcmp(value, "true") == 0) {
            *invert = true;
            debug("Invert: %d\n", *invert);
        }
        xmlFree(fetched);
    }
}

uint8_t cIOpairs::parseDevType(const char* typeString)
{
    static const struct {
        const char* text;
        uint8_t type;
    } kinds[] = {{"AC", 1}, {"IO", 0}, {"ANALOG_IO", 3}, {"ANALOG", 2}, {"GSM", tavTrigger::kTypeGsm}};
    for (const auto& kind : kinds) {
        if (std::strcmp(typeString, kind.text) == 0) {
            return kind.type;
        }
    }
    return tavTrigger::kTypeNone;
}
