#include "Elements.h"
#include "Site.h"

#include <algorithm>

namespace {

// An attribute's value as the parser normalises it.
std::string normalised(std::string value)
{
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    return value;
}

} // namespace

Elements::Elements(std::string file, Report& report) : m_file(std::move(file)), m_report(report)
{
    std::string text;
    if (readText(m_file, text))
        m_attributes = rawAttributes(text);
}

void Elements::error(xmlNode* node, const std::string& text, const std::vector<Edit>& edits)
{
    m_report.error(m_file, xmlGetLineNo(node), text, edits);
}

void Elements::warning(xmlNode* node, const std::string& text, const std::vector<Edit>& edits)
{
    m_report.warning(m_file, xmlGetLineNo(node), text, edits);
}

std::optional<std::string> Elements::attribute(xmlNode* node, const char* name)
{
    std::optional<std::string> value;
    xmlFile::forEachAttribute(node, name, [&](char* text) { value = text; });
    return value;
}

void Elements::forEachElement(xmlNode* parent, const std::vector<std::string>& known,
                              const std::function<void(xmlNode*)>& take)
{
    for (xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const std::string name = xmlFile::nameOf(node);
        checkNamespace(node);
        if (std::find(known.begin(), known.end(), name) != known.end()) {
            take(node);
            continue;
        }
        const std::string meant = likely(name, known);
        warning(node, "the element " + name + " is skipped" + (meant.empty() ? "" : ": " + meant + " may be meant"));
    }
}

void Elements::checkNamespace(xmlNode* node)
{
    const xmlNs* const above = node->parent->type == XML_ELEMENT_NODE ? node->parent->ns : nullptr;
    if (node->ns != nullptr && (above == nullptr || xmlStrEqual(above->href, node->ns->href) == 0))
        warning(node, std::string("the element ") + xmlFile::nameOf(node) + " is in the foreign namespace \"" +
                          reinterpret_cast<const char*>(node->ns->href) +
                          "\", which the daemon ignores: remove the namespace");
}

void Elements::checkAttributes(xmlNode* node, const std::vector<std::string>& known)
{
    for (xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
        const std::string name(reinterpret_cast<const char*>(attribute->name));
        if (std::find(known.begin(), known.end(), name) != known.end())
            continue;
        const std::string meant = known.size() == 1 ? known.front() : likely(name, known);
        warning(node, "the attribute " + name + " of " + xmlFile::nameOf(node) + " is ignored" +
                          (meant.empty() ? "" : ": " + meant + " may be meant"));
    }
}

const RawAttribute* Elements::raw(xmlNode* node, const std::string& name, const std::string& value) const
{
    const auto line = m_attributes.equal_range(xmlGetLineNo(node));
    for (auto at = line.first; at != line.second; ++at) {
        if (at->second.name == name && normalised(at->second.value) == value)
            return &at->second;
    }
    return nullptr;
}

void Elements::checkLabel(xmlNode* node, const std::string& name, const std::string& value)
{
    if (value.find_first_of(" \t\r\n") == std::string::npos)
        return;
    const RawAttribute* const written = raw(node, name, value);
    const std::string shown = written != nullptr ? written->value : value;
    const std::string inner = trimmed(shown);
    if (inner.find('\t') != std::string::npos)
        warning(node, "the label \"" + shown + "\" has a tab, so it differs from a label with a blank: write a blank");
    if (inner.size() == shown.size())
        return;
    std::vector<Edit> edits;
    const auto line = m_attributes.equal_range(xmlGetLineNo(node));
    for (auto at = line.first; at != line.second && !inner.empty(); ++at) {
        if (at->second.name == name &&
            normalised(at->second.value) == value) // equal values in one line have the same mistake
            edits.push_back({at->second.offset, at->second.value.size(), trimmed(at->second.value)});
    }
    warning(node, "the label \"" + shown + "\" has blanks at an end, and labels are compared exactly: remove them",
            edits);
}
