#include "Picture.h"

#include "Markup.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr size_t kMostNodes = 4000; // of a rule: Graphviz needs seconds for them
constexpr double kGap = 2;          // points between two drawings, which have margins of their own

// How a kind of node looks.
struct Look {
    const char *kind, *shape, *style, *fill, *line;
};
constexpr Look kInput{"input", "box", "rounded", "#ffffff", "#475569"};
constexpr Look kAnd{"and", "box", "bold", "#dbeafe", "#1d4ed8"};
constexpr Look kOr{"or", "ellipse", "bold", "#ffedd5", "#c2410c"};
constexpr Look kInverse{"inverse", "octagon", "bold", "#fee2e2", "#b91c1c"};
constexpr Look kOutput{"output", "box\", peripheries=\"2", "solid", "#f1f5f9", "#0f172a"};
constexpr Look kAlarm{"alarm", "note", "solid", "#f1f5f9", "#0f172a"};

const Look& lookOf(NodeState::Kind kind)
{
    static const Look kLooks[] = {kInput, kAnd, kOr, kInverse};
    return kLooks[kind];
}

size_t nodesIn(const NodeState& node)
{
    size_t count = 1;
    for (const NodeState& child : node.children)
        count += nodesIn(child);
    return count;
}

// The text of one rule in the DOT language. A node's name is its place in the tree.
class Graph {
public:
    Graph(size_t number, bool withStates) : m_name(std::to_string(number)), m_withStates(withStates)
    {
        m_text = "digraph \"rule " + m_name +
                 "\" { graph [rankdir=RL, ordering=out, bgcolor=transparent, pad=0.05, nodesep=0.15, ranksep=0.5,\n"
                 "fontname=Helvetica, fontsize=11]\n"
                 "node [fontname=Helvetica, fontsize=11, height=0.3, margin=\"0.14,0.05\"]\n"
                 "edge [fontname=Helvetica, fontsize=9, color=\"#475569\", dir=back, arrowsize=0.7]\n"
                 "subgraph cluster { label=\"connection " +
                 m_name + "\"; labeljust=r; style=rounded; color=\"#94a3b8\"\n";
    }

    std::string of(const RuleState& rule)
    {
        const size_t nodes = nodesIn(rule.trigger);
        const std::string trigger = m_name + ".1";
        if (nodes > kMostNodes)
            addNode(trigger, kInput, std::to_string(nodes) + " nodes: too many to draw", "");
        else
            addTree(rule.trigger, trigger);
        std::string label = dotText(rule.action);
        if (rule.isAlarm)
            label += "\\nalarm by SMS";
        else if (m_withStates)
            label += "\\n" + rule.effect + (rule.written.empty() ? "" : "\\n" + rule.written);
        addNode(m_name + ".2", rule.isAlarm ? kAlarm : kOutput, label, "");
        addEdge(trigger, m_name + ".2", rule.inverse, "");
        return m_text + "} id=rule" + m_name + " }\n";
    }

private:
    void addTree(const NodeState& node, const std::string& name)
    {
        static const char* const kNames[] = {"", "AND", "OR", "INVERSE"};
        std::string label = node.kind == NodeState::INPUT ? dotText(node.label) : kNames[node.kind];
        if (m_withStates)
            label +=
                (node.kind == NodeState::INPUT ? "\\n" + node.status + ": " : std::string("\\n")) + node.stateWord();
        else if (node.kind == NodeState::INVERSE)
            label += "\\nnever acts";
        addNode(name, lookOf(node.kind), label, m_withStates ? node.stateWord() : "");
        for (size_t i = node.children.size(); i-- > 0;) { // Graphviz begins at the bottom
            const std::string child = name + "." + std::to_string(i + 1);
            const bool decides = m_withStates && node.decider == i;
            addTree(node.children[i], child);
            addEdge(child, name, node.children[i].inverted,
                    !decides             ? ""
                    : node.decidedAsLast ? "decides as the last"
                                         : "decides");
        }
    }

    void addNode(const std::string& name, const Look& look, const std::string& label, const std::string& state)
    {
        const char* const fill = state == "active" ? "#bbf7d0" : state == "not active" ? "#ffffff" : look.fill;
        const bool hasNone = state == "no state";
        m_text += "\"" + name + "\" [label=\"" + label + "\", shape=\"" + look.shape + "\", style=\"filled," +
                  look.style + (hasNone ? ",dashed" : "") + "\", fillcolor=\"" + (hasNone ? "#fef9c3" : fill) +
                  "\", color=\"" + look.line + "\", class=\"" + look.kind + " " +
                  (state == "not active" ? "inactive"
                   : hasNone             ? "stateless"
                                         : state) +
                  "\"]\n";
    }

    // A small circle at the end of an edge inverts. Edges are drawn backwards, which keeps the order of the children.
    void addEdge(const std::string& from, const std::string& to, bool inverted, const std::string& decides)
    {
        const char* const both = inverted && !decides.empty() ? "\\n" : "";
        m_text += "\"" + to + "\" -> \"" + from + "\" [label=\"" + (inverted ? "inverted" : "") + both + decides +
                  "\"" + (inverted ? ", arrowtail=odot, arrowsize=1" : "") +
                  (decides.empty() ? "" : ", penwidth=3, class=decides") + "]\n";
    }

    std::string m_name, m_text;
    bool m_withStates;
};

std::vector<std::string> graphsOf(const std::vector<RuleState>& rules, bool withStates)
{
    std::vector<std::string> graphs;
    graphs.reserve(rules.size());
    for (const RuleState& rule : rules)
        graphs.push_back(Graph(graphs.size() + 1, withStates).of(rule));
    return graphs;
}

std::string headingGraph(const std::vector<std::string>& lines)
{
    std::string label;
    for (const std::string& line : lines)
        label += dotText(line) + "\\l";
    return "digraph heading { graph [id=heading, bgcolor=transparent, pad=0.05]\n"
           "heading [shape=plaintext, margin=0, fontname=Helvetica, fontsize=12, label=\"" +
           label + "\"] }\n";
}

std::string opening(double width, double height)
{
    char text[256];
    snprintf(text, sizeof text,
             "<svg width=\"%.0fpt\" height=\"%.0fpt\" viewBox=\"0 0 %.2f %.2f\" xmlns=\"http://www.w3.org/2000/svg\">\n"
             "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
             width, height, width, height);
    return text;
}

} // namespace

std::optional<std::vector<Drawing>> drawRules(const std::vector<RuleState>& rules, bool withStates)
{
    return draw(graphsOf(rules, withStates));
}

std::optional<std::string> picture(const std::vector<std::string>& heading, const std::vector<RuleState>& rules,
                                   bool withStates)
{
    std::vector<std::string> graphs = graphsOf(rules, withStates);
    graphs.insert(graphs.begin(), headingGraph(heading));
    const auto drawings = draw(graphs);
    if (!drawings)
        return {};
    double width = 0, height = kGap;
    std::string groups;
    for (const Drawing& drawing : *drawings) {
        groups += "<g transform=\"translate(" + std::to_string(kGap) + " " + std::to_string(height) + ")\">\n" +
                  drawing.group + "</g>\n";
        width = std::max(width, drawing.width);
        height += drawing.height + kGap;
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + opening(width + 2 * kGap, height) + "<title>" +
           xmlText(heading.front()) + "</title>\n" + groups + "</svg>\n";
}
