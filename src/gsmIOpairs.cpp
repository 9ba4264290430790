#include "gsmIOpairs.h"

#include "maskedNumber.h"
#include "xmlFile.h"

#include <libxml/parser.h>

#include <unistd.h>

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
    const bool there = access(filename, F_OK) == 0;
    if (xmlDocPtr const document = xmlFile::open(filename, trouble)) {
        debug("Opened file OK");
        xmlNodePtr const root = xmlDocGetRootElement(document);
        if (isElement(root, "gsm_connections") && !getRecords(root, filename, list)) {
            error("%s: out of memory: none of its records is used", filename);
            list->keepNewest(0, [](cgsmMessageInfo* record) { delete record; });
        }
        xmlFreeDoc(document);
    } else {
        debug("Fail open\n");
        if (there)
            error("%s", trouble.c_str());
        else
            warn("%s: no SMS is obeyed or sent without it", trouble.c_str());
    }
    xmlCleanupParser();
    mGsmInfoList = list;
    return list;
}

/// Adds a record to @p list for each "Label" element. @return false if memory runs out
bool cgsmIOpairs::getRecords(xmlNodePtr root, const char* filename, cEnumeratedList<cgsmMessageInfo>* list)
{
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
        auto* const record = new cgsmMessageInfo;
        list->insert(record);
        if (!readRecord(node, filename, record)) {
            return false;
        }
    }
    return true;
}

/// Fills @p record from a "Label" element. @return false if memory runs out
bool cgsmIOpairs::readRecord(xmlNodePtr label, const char* filename, cgsmMessageInfo* record)
{
    bool read = forEachAttribute(label, "name", [&](const char* value) { record->set_label(value); });
    for (xmlNodePtr child = label->children; child != nullptr && read; child = child->next) {
        if (isElement(child, "message")) {
            read = forEachAttribute(child, "value", [&](const char* value) { record->set_message(value); });
        } else if (isElement(child, "number")) {
            read = forEachAttribute(child, "value", [&](const char* value) {
                const int before = record->get_numCount();
                record->add_number(value);
                if (record->get_numCount() == before && before < cgsmMessageInfo::kNumbers)
                    error("%s:%ld: Label \"%s\": number refused, it has more than %zu characters: %s", filename,
                          xmlGetLineNo(child), record->get_label(), cgsmMessageInfo::kNumberBytes - 1,
                          maskedNumber(value).c_str());
            });
        }
    }
    return read;
}
