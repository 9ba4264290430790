#include "Document.h"

#include "Markup.h"
#include "Picture.h"

#include <cstdio>

namespace {

// The pictures have colours as attributes; a style overrides them.
const char kStyle[] = R"css(
:root { --paper:#fff; --ink:#0f172a; --faint:#475569; --frame:#94a3b8; --plain:#fff; --and:#dbeafe; --and-line:#1d4ed8;
  --or:#ffedd5; --or-line:#c2410c; --wrong:#fee2e2; --wrong-line:#b91c1c; --output:#f1f5f9; --active:#bbf7d0;
  --stateless:#fef9c3; color-scheme:light dark }
@media screen and (prefers-color-scheme: dark) { :root { --paper:#0f172a; --ink:#e2e8f0; --faint:#a3b1c6;
  --frame:#64748b; --plain:#1e293b; --and:#1e3a8a; --and-line:#93c5fd; --or:#7c2d12; --or-line:#fdba74; --wrong:#7f1d1d;
  --wrong-line:#fca5a5; --output:#334155; --active:#14532d; --stateless:#713f12 } }
body { background:var(--paper); color:var(--ink); font:16px/1.45 sans-serif; margin:0 auto; max-width:75rem;
  padding:1rem }
h1 { font-size:1.5rem } h2 { font-size:1.2rem; margin:0 0 .4rem } h1, h2, code { overflow-wrap:anywhere }
code, th { white-space:pre-wrap }
a { color:var(--and-line) } .faint { color:var(--faint) }
nav ol { columns:15rem; padding-left:3rem }
section { border-top:1px solid var(--frame); margin-top:1.5rem; padding-top:1rem }
figure { margin:.8rem 0; overflow-x:auto } svg { display:block }
svg text { fill:var(--ink) }
.cluster path, .cluster polygon { stroke:var(--frame) }
.node path, .node polygon, .node polyline, .node ellipse { fill:var(--plain); stroke:var(--faint) }
.and polygon { fill:var(--and); stroke:var(--and-line) } .or ellipse { fill:var(--or); stroke:var(--or-line) }
.inverse polygon { fill:var(--wrong); stroke:var(--wrong-line) }
.output polygon, .alarm polygon, .alarm polyline { fill:var(--output); stroke:var(--ink) }
.node [fill=none] { fill:none !important }
.active path, .active polygon, .active ellipse { fill:var(--active) }
.inactive path, .inactive polygon, .inactive ellipse { fill:var(--plain) }
.stateless path, .stateless polygon, .stateless ellipse { fill:var(--stateless) }
.edge path, .edge ellipse { stroke:var(--faint) } .edge polygon { fill:var(--faint); stroke:var(--faint) }
.table { overflow-x:auto } table { border-collapse:collapse; font-size:.9rem }
th, td { border:1px solid var(--frame); padding:.15rem .6rem; text-align:left }
th { min-width:5rem; overflow-wrap:anywhere }
.set { background:var(--active) } .offline { background:var(--stateless) }
.effect { font-weight:bold; white-space:nowrap }
@media print { body { font-size:10pt; max-width:none; padding:0 } h2, .words { break-after:avoid }
  figure, tr { break-inside:avoid } figure, .table { overflow:visible } thead { display:table-header-group }
  .set, .offline, svg { print-color-adjust:exact } svg { height:auto; max-width:100% } a { color:inherit }
  table { font-size:8pt; line-height:1.2 } th { min-width:0 } th, td { padding:.05rem .25rem } }
)css";

const char kLegend[] = R"html(<p class="faint">Inputs stand on the left. An input is active while its alarm is set; a
small circle inverts it. AND is active while all of its children are, OR while one is. While its trigger is active, an
output is away from its default state; a circle before the output swaps the two. In the tables warn and unknown count as
clear.</p>
)html";

std::string code(const std::string& label)
{
    return "<code>" + xmlText(label) + "</code>";
}

// A trigger as an expression; in brackets within another one.
std::string expression(const NodeState& node, bool within)
{
    if (node.kind == NodeState::INPUT)
        return (node.inverted ? "NOT " : "") + code(node.label);
    std::string text;
    for (const NodeState& child : node.children)
        text += (text.empty()                  ? ""
                 : node.kind == NodeState::AND ? " AND "
                                               : " OR ") +
                expression(child, node.children.size() > 1);
    if (node.kind == NodeState::INVERSE)
        return "INVERSE (" + text + "), which never acts";
    return within && node.children.size() > 1 ? "(" + text + ")" : text;
}

std::string words(const RuleState& rule)
{
    const std::string trigger = expression(rule.trigger, false);
    if (rule.isAlarm)
        return "An SMS command to an input of this rule sends the alarm " + code(rule.action) + ". Trigger: " + trigger;
    return code(rule.action) +
           (rule.inverse ? " is in its default state while " : " is away from its default state while ") + trigger;
}

std::string figure(const Drawing& drawing, size_t number)
{
    char opening[200];
    snprintf(opening, sizeof opening,
             "<svg role=\"img\" aria-label=\"Connection %zu\" width=\"%.0fpt\" height=\"%.0fpt\" "
             "viewBox=\"0 0 %.2f %.2f\" xmlns=\"http://www.w3.org/2000/svg\">\n",
             number, drawing.width, drawing.height, drawing.width, drawing.height);
    return "<figure>" + (opening + drawing.group) + "</svg></figure>\n";
}

std::string tableOf(const RuleState& rule, const TruthTable& table)
{
    if (table.rows.empty())
        return "<p class=\"faint\">No table: " + std::to_string(table.inputs.size()) +
               " inputs make too long a one.</p>\n";
    std::string text = "<div class=\"table\"><table>\n<thead><tr>";
    for (const std::string& input : table.inputs)
        text += "<th scope=\"col\">" + xmlText(input) + "</th>";
    text += "<th scope=\"col\">" + xmlText(rule.action) + "</th></tr></thead>\n<tbody>\n";
    for (const TruthTable::Row& row : table.rows) {
        text += "<tr>";
        for (const char* const state : row.states)
            text += std::string("<td class=\"") + state + "\">" + state + "</td>";
        text += std::string("<td class=\"effect\">") + row.effect + "</td></tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

std::string headOf(const std::vector<std::string>& heading)
{
    std::string text =
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\"><head><meta charset=\"utf-8\"/>\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\"/>\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
        xmlText(heading.front()) + "</title>\n<style>" + kStyle + "</style></head><body>\n<h1>" +
        xmlText(heading.front()) + "</h1>\n";
    for (size_t i = 1; i < heading.size(); ++i)
        text += "<p>" + xmlText(heading[i]) + "</p>\n";
    return text + kLegend;
}

std::string contents(const std::vector<RuleState>& rules)
{
    std::string text = "<nav aria-label=\"Connections\"><ol>\n";
    for (size_t i = 0; i < rules.size(); ++i)
        text += "<li><a href=\"#connection" + std::to_string(i + 1) + "\">" + xmlText(rules[i].action) + "</a></li>\n";
    return text + "</ol></nav>\n";
}

} // namespace

std::optional<std::string> document(const std::vector<std::string>& heading, const std::vector<RuleState>& rules,
                                    RuleStates& states, bool withStates, bool withOffline)
{
    const auto drawings = drawRules(rules, withStates);
    if (!drawings)
        return {};
    std::string text = headOf(heading) + contents(rules) + "<main>\n";
    for (size_t i = 0; i < rules.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        text += "<section id=\"connection" + number + "\"><h2>Connection " + number + ": " + xmlText(rules[i].action) +
                "</h2>\n<p class=\"words\">" + words(rules[i]) + ".</p>\n" + figure((*drawings)[i], i + 1);
        if (withStates)
            text += "<p>" + xmlText(rules[i].action) + ": " + rules[i].effect +
                    (rules[i].written.empty() ? "" : ": " + rules[i].written) + ".</p>\n";
        if (!rules[i].isAlarm)
            text += tableOf(rules[i], states.table(i, withOffline));
        text += "</section>\n";
    }
    return text + "</main></body></html>\n";
}
