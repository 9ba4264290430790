// The content of a card's three files, as the checks use it.
#ifndef CHECK_SITE_H
#define CHECK_SITE_H

#include "Report.h"

#include <memory>
#include <string>
#include <vector>

/// A label or path, and its line.
struct Place {
    std::string label;
    long line;
};

struct Record {
    std::string label, message;
    std::vector<std::string> numbers;
    long line;
};

/// A connection that the daemon uses.
struct Rule {
    long action;                ///< line of its action
    std::vector<long> triggers; ///< lines of the triggers in its tree, parents first
};

/// What one check reads for another.
struct Site {
    std::string properties, pairs, messages, host; ///< paths; the object server's host
    bool namesMessages = false;                    ///< the properties file sets the message file
    std::vector<Place> inputs;                     ///< labels of all triggers' details
    std::vector<Place> last;                       ///< inputs that are the last child of an AND or OR of several
    std::vector<Place> commanded;                  ///< labels of the outermost triggers' own details
    std::vector<Place> outputs;                    ///< labels of actions that drive an output
    std::vector<Place> alarms;                     ///< labels of GSM actions
    std::vector<Rule> rules;                       ///< in the order of the file
    std::vector<Record> records;
    Place serialPort{"/dev/ttyS3", 0};
    std::vector<Place> logFiles;
};

void checkProperties(Site& site, Report& report);
void checkPairs(Site& site, Report& report);
void checkMessages(Site& site, Report& report);
/// Mistakes between two files.
void checkTogether(const Site& site, Report& report);
/// Evaluates the rules, and reports those that are never or always active, contradict each other or form a loop.
void checkRules(const Site& site, Report& report);
/// Checks on the card itself: the serial port, if @p modem, and the log's folders, which @p user must be able to write
/// to.
void checkCard(const Site& site, bool modem, const std::string& user, Report& report);
/// Texts of this card that a card with the message file @p peer would take for a command, and the reverse.
void checkPeer(const Site& site, const std::string& peer, Report& report);
/// Labels that the object server at @p host ("HOST" or "HOST:PORT") does not know.
void checkServer(const Site& site, const std::string& host, Report& report);

/// Reports that @p file cannot be used, with the line number from the reader's message @p trouble.
void reportUnusable(const std::string& file, const std::string& trouble, const std::string& consequence,
                    Report& report);

/// The text without blanks, tabs and carriage returns at its ends.
std::string trimmed(const std::string& text);
/// The edit distance between two words, without regard to case.
size_t distance(const std::string& one, const std::string& other);
/// The word of @p known that is nearest to @p word, at a distance of two at most; empty if there is none.
std::string likely(const std::string& word, const std::vector<std::string>& known);

#endif
