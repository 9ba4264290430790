#include "xmlFile.h"

#include "regularFile.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

namespace {

#if LIBXML_VERSION >= 21200
using ErrorPointer = const xmlError*;
#else
using ErrorPointer = xmlErrorPtr;
#endif

/// The findings of the parser's callbacks, which reach it through the parser context.
struct Findings {
    std::string trouble;
    int line = 0;
    unsigned entities = 0;
};

Findings& findings(void* context)
{
    return *static_cast<Findings*>(static_cast<xmlParserCtxt*>(context)->_private);
}

/// Keeps the first error, and stops libxml2 from printing errors.
void onError(void* context, ErrorPointer error)
{
    Findings& found = findings(context);
    if (error->level < XML_ERR_ERROR || !found.trouble.empty()) {
        return;
    }
    found.trouble = error->message != nullptr ? error->message : "not well-formed";
    while (!found.trouble.empty() && found.trouble.back() == '\n') {
        found.trouble.pop_back();
    }
    found.line = error->line;
}

void refuse(void* context, const std::string& why)
{
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    Findings& found = findings(context);
    if (found.trouble.empty()) {
        found.trouble = why;
        found.line = xmlSAX2GetLineNumber(parser);
    }
    parser->wellFormed = 0; // a refused entity is not declared, so it is never expanded
}

/// Whether an entity's text refers to another entity. A reference to a character, such as "&#60;", does not count: its
/// result is not parsed again.
bool refersToEntity(const xmlChar* content)
{
    for (const xmlChar* at = xmlStrchr(content, '&'); at != nullptr; at = xmlStrchr(at + 1, '&')) {
        if (at[1] != '#') {
            return true;
        }
    }
    return false;
}

void onEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId, const xmlChar* systemId,
              xmlChar* content)
{
    const std::string which = std::string("entity \"") + reinterpret_cast<const char*>(name) + "\" ";
    if (++findings(context).entities > xmlFile::kMaxEntities) {
        refuse(context, which + "is one too many");
    } else if (content != nullptr && refersToEntity(content)) {
        refuse(context, which + "refers to another");
    } else if (content != nullptr && static_cast<size_t>(xmlStrlen(content)) > xmlFile::kMaxEntityBytes) {
        refuse(context, which + "is too long");
    } else {
        xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
    }
}

void onAttributeDeclaration(void* context, const xmlChar* element, const xmlChar* name, int type, int presence,
                            const xmlChar* defaultValue, xmlEnumerationPtr choices)
{
    if (defaultValue != nullptr) {
        xmlFreeEnumeration(choices);
        refuse(context,
               std::string("default of attribute \"") + reinterpret_cast<const char*>(name) + "\" is not supported");
        return;
    }
    xmlSAX2AttributeDecl(context, element, name, type, presence, defaultValue, choices);
}

} // namespace

xmlDocPtr xmlFile::open(const char* path, std::string& trouble)
{
    std::string content;
    std::string why;
    if (!readRegularFile(path, kMaxBytes, content, why)) {
        trouble = std::string(path) + ": " + why;
        return nullptr;
    }
    xmlParserCtxt* const parser = xmlNewParserCtxt();
    if (parser == nullptr) {
        trouble = std::string(path) + ": out of memory";
        return nullptr;
    }
    Findings found;
    parser->_private = &found;
    parser->sax->serror = onError;
    parser->sax->entityDecl = onEntity;
    parser->sax->attributeDecl = onAttributeDeclaration;
    xmlDoc* document = xmlCtxtReadMemory(parser, content.data(), static_cast<int>(content.size()), path, nullptr,
                                         XML_PARSE_NONET | XML_PARSE_BIG_LINES);
    if (parser->errNo == XML_ERR_NO_MEMORY) { // the document may be incomplete
        xmlFreeDoc(document);
        document = nullptr;
        found.trouble = "out of memory";
    }
    xmlFreeParserCtxt(parser);
    if (document == nullptr) {
        trouble = std::string(path) + ":" + std::to_string(found.line) + ": " +
                  (found.trouble.empty() ? "not well-formed" : found.trouble);
    }
    return document;
}

bool xmlFile::isElement(const xmlNode* node, const char* name)
{
    return node != nullptr && node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, BAD_CAST name) != 0;
}

const char* xmlFile::nameOf(const xmlNode* node)
{
    return node->name != nullptr ? reinterpret_cast<const char*>(node->name) : "";
}
