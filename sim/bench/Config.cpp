#include "bench/Config.h"

#include "bench/Sandbox.h"
#include "bench/Scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <libxml/parser.h>
#include <sstream>
#include <sys/stat.h>

namespace bench {

namespace {

std::string attribute(xmlNode* node, const char* name)
{
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    std::string text = value != nullptr ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return text;
}

// The labels of the details below a node, but those of a GSM action.
void gatherLabels(xmlNode* node, std::vector<std::string>& labels)
{
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const std::string label = attribute(child, "io_label");
        if (!label.empty() && label.size() <= 31 && attribute(child, "dev_type") != "GSM" &&
            std::find(labels.begin(), labels.end(), label) == labels.end())
            labels.push_back(label);
        gatherLabels(child, labels);
    }
}

} // namespace

std::string configPath(const std::string& name)
{
    return std::string(kConfigFolder) + '/' + name;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (!file || !(content << file.rdbuf()))
        throw Failure(path + " cannot be read");
    return content.str();
}

void copyConfig(const std::string& folder)
{
    DIR* entries = opendir(folder.c_str());
    if (entries == nullptr)
        throw Failure(folder + ": " + strerror(errno));
    std::vector<std::string> names;
    while (const dirent* entry = readdir(entries)) {
        struct stat kind {};
        if (stat((folder + '/' + entry->d_name).c_str(), &kind) == 0 && S_ISREG(kind.st_mode))
            names.emplace_back(entry->d_name);
    }
    closedir(entries);
    for (const std::string& name : names)
        writeConfigFile(name, readFile(folder + '/' + name));
}

void writeConfigFile(const std::string& name, const std::string& content)
{
    // A new file each time: the daemon never sees half of one.
    const std::string path = configPath(name), fresh = path + ".new";
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file || rename(fresh.c_str(), path.c_str()) != 0)
        throw Failure(path + ": " + strerror(errno));
}

std::vector<sim::Port> portsOfPairFile()
{
    std::vector<std::string> inputs, outputs;
    const std::string path = configPath("telnodriver.xml");
    xmlDoc* document = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlNode* root = document != nullptr ? xmlDocGetRootElement(document) : nullptr;
    for (xmlNode* connection = root != nullptr ? root->children : nullptr; connection != nullptr;
         connection = connection->next) {
        for (xmlNode* side = connection->children; side != nullptr; side = side->next) {
            const std::string name = side->name != nullptr ? reinterpret_cast<const char*>(side->name) : "";
            if (name == "trigger" || name == "action")
                gatherLabels(side, name == "trigger" ? inputs : outputs);
        }
    }
    xmlFreeDoc(document);

    std::vector<sim::Port> ports;
    for (const std::string& label : inputs) {
        sim::Port port;
        port.label = label;
        port.id = static_cast<uint32_t>(ports.size() + 1);
        if (std::find(outputs.begin(), outputs.end(), label) == outputs.end())
            ports.push_back(port);
    }
    for (const std::string& label : outputs) {
        sim::Port port;
        port.output = true;
        port.label = label;
        port.id = static_cast<uint32_t>(ports.size() + 1);
        port.type = 3;
        ports.push_back(port);
    }
    return ports;
}

} // namespace bench
