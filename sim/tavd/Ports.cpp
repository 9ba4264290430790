#include "tavd/Ports.h"

#include <array>
#include <cstdlib>
#include <libxml/parser.h>
#include <memory>

namespace sim {

namespace {

const std::array<const char*, 4> kStatusWords = {"unknown", "set", "clear", "warn"};

bool parseWord(const std::string& word, uint32_t& value, size_t words)
{
    for (size_t i = 0; i < words; ++i) {
        if (word == kStatusWords[i]) {
            value = static_cast<uint32_t>(i);
            return true;
        }
    }
    return false;
}

std::string attribute(xmlNode* node, const char* name)
{
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    if (value == nullptr)
        return {};
    std::string text(reinterpret_cast<const char*>(value));
    xmlFree(value);
    return text;
}

bool parseNumber(const std::string& text, uint32_t& number)
{
    if (text.empty())
        return true;
    char* end = nullptr;
    const unsigned long long value = strtoull(text.c_str(), &end, 0);
    number = static_cast<uint32_t>(value);
    return *end == '\0' && value <= UINT32_MAX && text.find('-') == std::string::npos;
}

// Reads one <input> or <output>. Returns an error message, or empty.
std::string readPort(xmlNode* node, Port& port)
{
    port.label = attribute(node, "label");
    if (port.label.empty() || port.label.size() > 31)
        return "a port needs a label of 1 to 31 characters";
    port.type = port.output ? 3 : 2;
    if (!parseNumber(attribute(node, "serial"), port.serial) || !parseNumber(attribute(node, "id"), port.id) ||
        !parseNumber(attribute(node, "type"), port.type))
        return "serial, id and type are numbers";
    const std::string status = attribute(node, "status"), defaultState = attribute(node, "default"),
                      state = attribute(node, "state");
    if (!status.empty() && !parseStatus(status, port.status))
        return "status is set, clear, warn or unknown, not " + status;
    if (!defaultState.empty() && !parseState(defaultState, port.defaultState))
        return "default is set, clear or unknown, not " + defaultState;
    port.state = port.defaultState;
    if (!state.empty() && !parseState(state, port.state))
        return "state is set, clear or unknown, not " + state;
    return {};
}

} // namespace

const char* statusWord(uint32_t status)
{
    return kStatusWords[status < kStatusWords.size() ? status : 0];
}

const char* stateWord(uint32_t state)
{
    return state < 3 ? kStatusWords[state] : kStatusWords[0];
}

bool parseStatus(const std::string& word, uint32_t& status)
{
    return parseWord(word, status, 4);
}

bool parseState(const std::string& word, uint32_t& state)
{
    return parseWord(word, state, 3);
}

bool readPorts(const std::string& file, std::vector<Port>& ports, std::string& error)
{
    const auto fail = [&](long line, const std::string& what) {
        error = file + ':' + std::to_string(line) + ": " + what;
        return false;
    };
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING), xmlFreeDoc);
    if (!document) {
        const auto* problem = xmlGetLastError();
        std::string message = problem != nullptr && problem->message != nullptr ? problem->message : "cannot be read";
        while (!message.empty() && message.back() == '\n')
            message.pop_back();
        return fail(problem != nullptr ? problem->line : 0, message);
    }
    xmlNode* root = xmlDocGetRootElement(document.get());
    if (root == nullptr || std::string(reinterpret_cast<const char*>(root->name)) != "ports")
        return fail(root != nullptr ? xmlGetLineNo(root) : 0, "the document element is not ports");

    std::vector<Port> read;
    for (xmlNode* node = root->children; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const std::string name(reinterpret_cast<const char*>(node->name));
        if (name != "input" && name != "output")
            return fail(xmlGetLineNo(node), "only input and output stand in ports, not " + name);
        Port port;
        port.output = name == "output";
        port.id = static_cast<uint32_t>(read.size() + 1);
        const std::string wrong = readPort(node, port);
        if (!wrong.empty())
            return fail(xmlGetLineNo(node), wrong);
        for (const Port& other : read) {
            if (other.output == port.output && other.label == port.label)
                return fail(xmlGetLineNo(node), "a second " + name + " is labelled " + port.label);
        }
        read.push_back(port);
    }
    ports = std::move(read);
    return true;
}

} // namespace sim
