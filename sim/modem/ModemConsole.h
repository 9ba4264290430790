// The commands that modem-sim takes from its standard input.
#pragma once

#include "modem/ModemSim.h"

#include <string>
#include <vector>

/// Obeys typed commands, one line each; the table of them is in ModemConsole.cpp.
/// Threads: one at a time.
class ModemConsole {
public:
    explicit ModemConsole(ModemSim& modem) : m_modem(modem) {} ///< borrowed

    struct Answer {
        bool ok;          ///< false: text says what is wrong with the line
        bool quit;        ///< the user has had enough
        std::string text; ///< to show, lines ended; often empty
    };
    Answer run(const std::string& line);

    /// Blanks part words; double quotes hold a word together, a backslash in them gives the next character, \n and \r.
    static std::vector<std::string> words(const std::string& line);

private:
    ModemSim& m_modem;
};
