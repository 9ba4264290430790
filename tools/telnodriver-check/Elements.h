// The elements of an XML file, and the mistakes that either file can have in them.
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
    /// Reads the text of @p file for what the parser does not keep. @p report lives longer than this.
    Elements(std::string file, Report& report);

    /// Calls @p take with each child element that @p known names, and warns of the others and of foreign namespaces.
    void forEachElement(xmlNode* parent, const std::vector<std::string>& known,
                        const std::function<void(xmlNode*)>& take);
    /// Warns of the attributes that @p known does not name.
    void checkAttributes(xmlNode* node, const std::vector<std::string>& known);
    /// Warns of a namespace that @p node has and its parent has not: the daemon reads its elements like its own.
    void checkNamespace(xmlNode* node);
    /// Warns of blanks at the ends of a label and of tabs, which nobody sees; @p value is that of attribute @p name.
    void checkLabel(xmlNode* node, const std::string& name, const std::string& value);

    static std::optional<std::string> attribute(xmlNode* node, const char* name);

    void error(xmlNode* node, const std::string& text, const std::vector<Edit>& edits = {});
    void warning(xmlNode* node, const std::string& text, const std::vector<Edit>& edits = {});

private:
    /// Where the value of an attribute stands; null where that is not certain.
    const RawAttribute* raw(xmlNode* node, const std::string& name, const std::string& value) const;

    std::string m_file;
    Report& m_report;
    std::multimap<long, RawAttribute> m_attributes;
};

#endif
