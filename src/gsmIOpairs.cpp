#include "gsmIOpairs.h"

#include "xmlFile.h"

#include <libxml/parser.h>

#include <cstring>
#include <string>

using xmlFile::forEachAttribute;
using xmlFile::isElement;

cgsmIOpairs::cgsmIOpairs()
    : cWlog("cgsmIOpairs"), mGsmInfoList(new cEnumeratedList<cgsmMessageInfo>), mNoneRead(mGsmInfoList)
{
}

cgsmIOpairs::~cgsmIOpairs() = default;

cEnumeratedList<cgsmMessageInfo>* cgsmIOpairs::getGsmInfoList(const char* filename)
{
    auto* const list = new cEnumeratedList<cgsmMessageInfo>;
    debug("Try open %s", filename);
    std::string trouble;
    xmlDocPtr const document = xmlFile::open(filename, trouble);
    if (document == nullptr) {
        debug("Fail open\n");
        error("%s", trouble.c_str());
        xmlCleanupParser();
        mGsmInfoList = list;
        return list;
    }
    debug("Opened file OK");
    xmlNodePtr const root = xmlDocGetRootElement(document);
    if (isElement(root, "gsm_connections")) {
        unsigned records = 0;
        for (xmlNodePtr node = root->children; node != nullptr; node = node->next) {
            if (!isElement(node, "Label")) {
                continue;
            }
            if (++records > kMaxRecords) {
                error("%s:%ld: more than %u Label elements; the rest is ignored", filename, xmlGetLineNo(node),
                      kMaxRecords);
                break;
            }
            list->insert(getRecord(node, filename));
        }
    }
    xmlFreeDoc(document);
    xmlCleanupParser();
    mGsmInfoList = list;
    return list;
}

/// @return a new record with what a "Label" element holds
cgsmMessageInfo* cgsmIOpairs::getRecord(xmlNodePtr label, const char* filename)
{
    auto* const record = new cgsmMessageInfo;
    forEachAttribute(label, "name", [&](const char* value) { record->set_label(value); });
    for (xmlNodePtr child = label->children; child != nullptr; child = child->next) {
        if (isElement(child, "message")) {
            forEachAttribute(child, "value", [&](const char* value) { record->set_message(value); });
        } else if (isElement(child, "number")) {
            forEachAttribute(child, "value", [&](const char* value) {
                if (std::strlen(value) < cgsmMessageInfo::kNumberBytes) {
                    record->add_number(value);
                } else {
                    error("%s:%ld: Label \"%s\": number refused, it has more than %zu characters: %s", filename,
                          xmlGetLineNo(child), record->get_label(), cgsmMessageInfo::kNumberBytes - 1, value);
                }
            });
        }
    }
    return record;
}
