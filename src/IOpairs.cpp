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
    mOutOfMemory = false;
    debug("Try open %s", mFilename);
    std::string trouble;
    if (xmlDocPtr document = xmlFile::open(mFilename, trouble)) {
        debug("Opened file OK");
        xmlNodePtr root = xmlDocGetRootElement(document);
        if (isElement(root, "io_connections")) {
            debug("io_connections xml");
            getConnections(root, list);
        }
        xmlFreeDoc(document);
    } else {
        error("Fail open\n");
        error("%s", trouble.c_str());
    }
    xmlCleanupParser();
    if (mOutOfMemory) {
        error("%s: out of memory: none of its connections is used", mFilename);
        list->reset();
        while (auto* const connection = static_cast<tavConnection*>(list->get())) {
            delete connection;
            list->step();
        }
        delete list;
        list = new WList;
    }
    if (list->size() > 0) {
        return list;
    }
    error("No Connections Returning NULL");
    delete list;
    return nullptr;
}

void cIOpairs::getConnections(xmlNodePtr root, WList* list)
{
    for (xmlNodePtr node = root->children; node != nullptr; node = node->next) {
        if (!isElement(node, "connection")) {
            continue;
        }
        if (list->size() == std::numeric_limits<uint16_t>::max()) {
            error("%s:%ld: more than %u connections; the rest is ignored", mFilename, xmlGetLineNo(node), list->size());
            return;
        }
        if (tavConnection* const connection = getConnection(node)) {
            list->add(connection);
        }
    }
}

/// @return the connection of a "connection" element; null if it has no trigger or no action, or is refused
tavConnection* cIOpairs::getConnection(xmlNodePtr& node)
{
    debug("Create connection");
    auto* const connection = new tavConnection;
    mRefused = false;
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
    if (mRefused) {
        error("%s:%ld: the connection is refused", mFilename, xmlGetLineNo(node));
    }
    if (!mRefused && connection->getTrigger() != nullptr && connection->getAction() != nullptr) {
        return connection;
    }
    delete connection;
    return nullptr;
}

/// Adds @p child. If the list is full, destroys it and refuses the connection.
void cIOpairs::addChild(WList* list, tavTrigger* child, xmlNodePtr& node)
{
    if (list->size() < std::numeric_limits<uint16_t>::max()) {
        list->add(child);
        return;
    }
    if (!mRefused) {
        error("%s:%ld: a trigger has more than %u children", mFilename, xmlGetLineNo(node), list->size());
    }
    mRefused = true;
    delete child;
}

tavTrigger* cIOpairs::getTrigger(xmlNodePtr& node)
{
    auto* const list = new WList;
    auto* const composite = new tavTrigger;
    setOperation(node, composite);
    for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
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
                addChild(list, leaf, child);
            }
        } else if (isElement(child, "trigger")) {
            debug("Got another trigger\n");
            if (tavTrigger* const inner = getTrigger(child)) {
                addChild(list, inner, child);
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
    const bool read = forEachAttribute(node, "operation", [&](const char* value) {
        debug("operation = %s\n", value);
        if (std::strcmp(value, "OR") == 0) {
            action->setOperation(tavTrigger::OR);
        } else if (std::strcmp(value, "AND") == 0) {
            action->setOperation(tavTrigger::AND);
        } else if (std::strcmp(value, "INV") == 0 || std::strcmp(value, "INVERSE") == 0) {
            action->setOperation(tavTrigger::INVERSE);
        }
    });
    mOutOfMemory = mOutOfMemory || !read;
}

void cIOpairs::getDetailProperties(xmlNodePtr& ioNode, char* label, int* type, bool* invert)
{
    const bool read = forEachAttribute(ioNode, [&](const char* name, const char* value) {
        if (std::strcmp(name, "dev_type") == 0) {
            *type = parseDevType(value);
            debug("Type: %d\n", *type);
        } else if (std::strcmp(name, "io_label") == 0) {
            if (std::strlen(value) >= tavTrigger::kLabelBytes) { // cut, it would name another port
                error("%s:%ld: this io_label has more than %zu characters: %s", mFilename, xmlGetLineNo(ioNode),
                      tavTrigger::kLabelBytes - 1, value);
                mRefused = true;
                return;
            }
            std::snprintf(label, tavTrigger::kLabelBytes, "%s", value);
            debug("Lbl: %s\n", label);
        } else if (std::strcmp(name, "io_invert") == 0 && std::strcmp(value, "true") == 0) {
            *invert = true;
            debug("Invert: %d\n", *invert);
        }
    });
    mOutOfMemory = mOutOfMemory || !read;
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
