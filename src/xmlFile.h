/// Opens the daemon's XML configuration files: the one place where bytes of a file meet libxml2.
#ifndef XMLFILE_H
#define XMLFILE_H

#include <libxml/tree.h>

#include <cstddef>
#include <cstring>
#include <string>

/// Threads: libxml2's global state is used, so two files are never read at the same time.
namespace xmlFile {

constexpr size_t kMaxBytes = 4U << 20;  ///< of a file; a longer one is refused
constexpr size_t kMaxEntityBytes = 160; ///< of an entity's text, as long as the longest text of the files
constexpr unsigned kMaxEntities = 64;   ///< declared in one file

/// Parses the regular file @p path. The network is never used and no other file is loaded. A file is refused when it is
/// not well-formed, nests more than 256 elements, or declares entities that refer to others, entities beyond the limits
/// above or default attributes, with which a small file could grow without bound.
/// @param trouble  what was wrong, "FILE:LINE: text"; left alone when the file was read
/// @return the document, owned by the caller (xmlFreeDoc); null when the file was refused. Line numbers: xmlGetLineNo
xmlDocPtr open(const char* path, std::string& trouble);

/// @return whether @p node (null is none) is an element called @p name, in any name space
bool isElement(const xmlNode* node, const char* name);
/// @return the node's name, or "" for those that have none (character data)
const char* nameOf(const xmlNode* node);

/// Calls @p take with the name and the value of each attribute of @p element; both are valid during the call.
/// @return false when memory ran out for a value: the attributes that were not taken are not known
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

/// The same for the attributes called @p name; @p take gets the value alone.
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
