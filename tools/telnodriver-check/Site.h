// The three files of a card as the checks see them.
#ifndef CHECK_SITE_H
#define CHECK_SITE_H

#include "Report.h"

#include <memory>
#include <string>
#include <vector>

/// A label or path with the place where it stands.
struct Place {
    std::string label;
    long line;
};

struct Record {
    std::string label, message;
    std::vector<std::string> numbers;
    long line;
};

/// A connection that the daemon takes.
struct Rule {
    long action;                ///< line of its action
    std::vector<long> triggers; ///< lines of the triggers in its tree, a trigger before those in it
};

/// What one check has read and another needs.
struct Site {
    std::string properties, pairs, messages, host; ///< paths; the object server's host
    bool namesMessages = false;                    ///< the properties file names the message file
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
/// What only two files together show.
void checkTogether(const Site& site, Report& report);
/// What the rules do, by the daemon's own evaluation: those that never or always act, contradict or drive one another.
void checkRules(const Site& site, Report& report);
/// What only the card itself shows: the serial port, unless @p modem is false, and the log's folders, in which @p user
/// must be able to write.
void checkCard(const Site& site, bool modem, const std::string& user, Report& report);
/// What this card would send that another one, with the message file @p peer, takes for a command, and the reverse.
void checkPeer(const Site& site, const std::string& peer, Report& report);
/// Which labels the object server at @p host ("HOST" or "HOST:PORT") does not know.
void checkServer(const Site& site, const std::string& host, Report& report);

/// Reports that @p file cannot be used, at the line that stands in the reader's own words for it.
void reportUnusable(const std::string& file, const std::string& trouble, const std::string& consequence,
                    Report& report);

/// The text without blanks, tabs and carriage returns at its ends.
std::string trimmed(const std::string& text);
/// How many letters must be changed, added or taken away to make one word of the other; case does not matter.
size_t distance(const std::string& one, const std::string& other);
/// The shortest of @p known that is at most two letters away from @p word; empty if none is.
std::string likely(const std::string& word, const std::vector<std::string>& known);

#endif
