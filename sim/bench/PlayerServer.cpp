// The commands about the object server and its ports.
#include "bench/Player.h"

namespace bench {

namespace {

uint32_t status(const std::string& word)
{
    uint32_t value = 0;
    if (!sim::parseStatus(word, value))
        throw Failure("a status is set, clear, warn or unknown, not " + word);
    return value;
}

} // namespace

void Player::ports(Words& words)
{
    std::vector<sim::Port> read;
    std::string error;
    if (!sim::readPorts(file(words.next("a file")), read, error))
        throw Failure(error);
    m_card.usePorts(std::move(read));
}

void Player::server(Words& words)
{
    switch (words.oneOf("what the server does",
                        {"absent", "start", "stop", "restart", "hang", "resume", "send", "kind", "answers", "omits"})) {
    case 0:
        m_card.setServerAtStart(false);
        break;
    case 1:
        m_card.startServer();
        break;
    case 2:
        m_card.stopServer();
        break;
    case 3:
        m_card.stopServer();
        while (!words.empty()) {
            const std::string change = words.next("LABEL=STATUS");
            const size_t equals = change.find('=');
            if (equals == std::string::npos)
                throw Failure("a state is LABEL=STATUS, not " + change);
            const std::string label = change.substr(0, equals);
            const uint32_t value = status(change.substr(equals + 1));
            if (!m_card.server().setInput(label, value) && !m_card.server().setOutput(label, value, 1))
                throw Failure("no port is labelled " + label);
        }
        m_card.startServer();
        break;
    case 4:
        m_card.server().hang(true);
        break;
    case 5:
        m_card.server().hang(false);
        break;
    case 6:
        m_card.server().sendRaw(words.next("bytes"));
        break;
    case 7:
        m_card.server().setManners({});
        break;
    case 8:
        serverAnswers(words);
        break;
    default:
        serverOmits(words);
    }
}

// server answers after TIME
void Player::serverAnswers(Words& words)
{
    if (!words.take("after"))
        throw Failure("server answers after TIME");
    sim::Tavd::Manners manners = m_card.server().manners();
    manners.answerDelay = words.time("a time");
    m_card.server().setManners(manners);
}

// server omits [LABEL...]: replaces the list
void Player::serverOmits(Words& words)
{
    sim::Tavd::Manners manners = m_card.server().manners();
    manners.omitted.clear();
    while (!words.empty())
        manners.omitted.push_back(words.next("a label"));
    m_card.server().setManners(manners);
}

void Player::alarm(Words& words)
{
    std::vector<std::pair<std::string, uint32_t>> changes;
    do {
        const std::string label = words.next("a label");
        changes.emplace_back(label, status(words.next("a status")));
        if (!m_card.server().input(label))
            throw Failure("no input is labelled " + label);
    } while (!words.empty());
    m_card.server().setInputs(changes);
}

void Player::drive(Words& words)
{
    const std::string label = words.next("a label");
    const uint32_t state = words.oneOf("a state", {"set", "clear"}) == 0 ? 1 : 2;
    if (!m_card.server().setOutput(label, state, 2))
        throw Failure("no output is labelled " + label);
}

} // namespace bench
