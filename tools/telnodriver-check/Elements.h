// The elements of an XML file, and the checks that both XML files share.
#ifndef CHECK_ELEMENTS_H
#define CHECK_ELEMENTS_H

#include "Report.h"

#include "xmlFile.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

class Elements {
public:
    /// Reads the text of @p file again, for details that the parser drops. @p report is borrowed.
    Elements(std::string file, Report& report);

    /// Calls @p take for each child element that is @p known, and warns of others and of foreign namespaces.
    void forEachElement(xmlNode* parent, const std::vector<std::string>& known,
                        const std::function<void(xmlNode*)>& take);
    /// Warns of attributes that are not @p known.
    void checkAttributes(xmlNode* node, const std::vector<std::string>& known);
    /// Warns of a namespace that begins at @p node: the daemon ignores namespaces.
    void checkNamespace(xmlNode* node);
    /// Warns of blanks at the ends of a label, and of tabs in it. @p value is the value of attribute @p name.
    void checkLabel(xmlNode* node, const std::string& name, const std::string& value);

    static std::optional<std::string> attribute(xmlNode* node, const char* name);

    void error(xmlNode* node, const std::string& text, const std::vector<Edit>& edits = {});
    void warning(xmlNode* node, const std::string& text, const std::vector<Edit>& edits = {});

private:
    /// The position of an attribute's value; null if it is not certain.
    const RawAttribute* raw(xmlNode* node, const std::string& name, const std::string& value) const;

    std::string m_file;
    Report& m_report;
    std::multimap<long, RawAttribute> m_attributes;
};

#endif
