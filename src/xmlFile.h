/// Opens the XML configuration files. Only here does libxml2 parse a file's bytes.
#ifndef XMLFILE_H
#define XMLFILE_H

#include <libxml/tree.h>

#include <cstddef>
#include <cstring>
#include <string>

/// Threads: one file at a time, because libxml2 has global state.
namespace xmlFile {

constexpr size_t kMaxBytes = 4U << 20;  ///< of a file
constexpr size_t kMaxEntityBytes = 160; ///< of an entity's text; the longest text of the files fits
constexpr unsigned kMaxEntities = 64;   ///< in one file

/// Parses the regular file @p path, without the network or any other file. A file is refused if it is over a limit
/// above, not well-formed or nested more than 256 elements deep. So are entities that refer to other entities, and
/// default attributes: with them a small file could grow without bound.
/// @param trouble  "FILE:LINE: text" if the file is refused; else unchanged
/// @return the document, which the caller frees with xmlFreeDoc; null if the file is refused
xmlDocPtr open(const char* path, std::string& trouble);

/// @return whether @p node is an element called @p name, in any namespace; false for null
bool isElement(const xmlNode* node, const char* name);
/// @return the node's name; "" for character data, which has none
const char* nameOf(const xmlNode* node);

/// Calls @p take with the name and the value of each attribute of @p element, both valid during the call.
/// @return false if memory runs out, before all attributes are taken
template <class Take> bool forEachAttribute(const xmlNode* element, Take take)
{
    for (const xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
        xmlChar* const value = xmlGetProp(element, attribute->name);
        if (value == nullptr) {
            return false;
        }
        take(reinterpret_cast<const char*>(attribute->name), reinterpret_cast<char*>(value));
        xmlFree(value);
    }
    return true;
}

/// The same for attributes called @p name only; @p take gets the value.
template <class Take> bool forEachAttribute(const xmlNode* element, const char* name, Take take)
{
    return forEachAttribute(element, [&](const char* attribute, char* value) {
        if (std::strcmp(attribute, name) == 0) {
            take(value);
        }
    });
}

} // namespace xmlFile

#endif
