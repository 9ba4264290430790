// The simulated modem's input and its replies.
#include "modem/ModemSimImpl.h"

using modemsim::Input;
using modemsim::Reply;

void ModemSim::Impl::takeInput()
{
    if (input.backlog() < modemsim::kMostBacklog) {
        input.add(pty.read());
    }
    if (!listens()) {
        input.reset();
        return;
    }
    while (!outbox.replying()) {
        const auto next = input.next();
        if (!next) {
            return;
        }
        if (next->kind == Input::Line) {
            takeLine(*next);
        } else if (next->kind == Input::TextLine) {
            outbox.reply(milliseconds(0), (me.settings.echo ? next->text + next->end : "") + lineEnd + prompt);
        } else {
            takeTextEnd(*next);
        }
    }
}

void ModemSim::Impl::takeLine(const Input& line)
{
    if (me.settings.echo) {
        outbox.reply(milliseconds(0), line.text + line.end);
    }
    if (line.text.empty()) {
        return;
    }
    record.toModem(line.text);
    const std::size_t start = modemsim::commandStart(line.text);
    if (start == std::string::npos) {
        return;
    }
    const auto reaction = lineReactions.take(line.text);
    std::optional<Reply> usual;
    if (line.tooLong) {
        usual = Reply::error();
    } else if (!reaction || reaction->carriedOut) {
        usual = me.execute(line.text.substr(start));
    }
    if (usual && usual->final == Reply::Prompt) {
        input.expectText();
    }
    answer(usual, reaction, milliseconds(0));
}

void ModemSim::Impl::takeTextEnd(const Input& text)
{
    if (me.settings.echo) {
        outbox.reply(milliseconds(0), text.text.substr(text.text.rfind('\n') + 1) + text.end);
    }
    record.toModem(text.text + text.end);
    if (text.end == modemsim::kEscape) {
        answer(Reply::ok(), std::nullopt, milliseconds(0));
        return;
    }
    const auto reaction = textReactions.take(me.destination);
    std::optional<Reply> usual;
    if (!reaction || reaction->carriedOut) {
        usual = me.sendText(text.text);
    }
    answer(usual, reaction, me.options.sendTime);
}

void ModemSim::Impl::answer(const std::optional<Reply>& usual, const std::optional<Reaction>& reaction,
                            milliseconds delay)
{
    delay += me.options.delay;
    if (reaction && reaction->replaced) {
        bool joined = false;
        for (const Reaction::Part& part : reaction->pieces) {
            outbox.reply(delay + part.delay, part.bytes, joined);
            delay = milliseconds(0);
            joined = true;
        }
        return;
    }
    if (!usual) {
        return;
    }
    if (reaction) {
        delay += reaction->delay;
    }
    const bool split = reaction && reaction->finalDelay.count() > 0;
    if (split) {
        outbox.reply(delay, information(*usual));
        outbox.reply(reaction->finalDelay, finalResult(*usual));
    } else {
        outbox.reply(delay, information(*usual) + finalResult(*usual));
    }
}

std::string ModemSim::Impl::information(const Reply& reply) const
{
    std::string text;
    for (const std::string& line : reply.lines) {
        text += (text.empty() && me.settings.words ? lineEnd : std::string()) + line + lineEnd;
    }
    return text;
}

std::string ModemSim::Impl::finalResult(const Reply& reply) const
{
    const bool verbose = me.settings.errorMode == modemsim::ErrorMode::Verbose;
    switch (reply.final) {
    case Reply::Prompt:
        return lineEnd + prompt;
    case Reply::CmsError:
        return lineEnd + "+CMS ERROR: " + (verbose ? modemsim::cmsText(reply.code) : std::to_string(reply.code)) +
               lineEnd;
    case Reply::CmeError:
        if (me.settings.errorMode != modemsim::ErrorMode::Plain) {
            return lineEnd + "+CME ERROR: " + (verbose ? modemsim::cmeText(reply.code) : std::to_string(reply.code)) +
                   lineEnd;
        }
        break;
    case Reply::Ok:
        return me.settings.words ? lineEnd + "OK" + lineEnd : "0\r";
    case Reply::Error:
        break;
    }
    return me.settings.words ? lineEnd + "ERROR" + lineEnd : "4\r";
}
