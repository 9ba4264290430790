// The commands that modem-sim takes from its standard input.
#pragma once

#include "modem/ModemSim.h"

#include <string>
#include <vector>

/// Runs typed commands, one per line. Their table is in ModemConsole.cpp.
/// Threads: one at a time.
class ModemConsole {
public:
    explicit ModemConsole(ModemSim& modem) : m_modem(modem) {} ///< borrowed

    struct Answer {
        bool ok;          ///< if false, text is an error message
        bool quit;        ///< the user wants to quit
        std::string text; ///< output, with line ends; often empty
    };
    Answer run(const std::string& line);

    /// Splits a line at blanks. A word may be in double quotes; in them a backslash escapes a character, \n and \r.
    static std::vector<std::string> words(const std::string& line);

private:
    ModemSim& m_modem;
};
