// What became of the PIN in the properties file, kept from one start of the service to the next.
#pragma once

#include <string>

/// The record is one line: the outcome and the marks (inode, size, time of change) of the properties file that it is
/// about. It holds for that state of the file alone: an edited file has no outcome. The PIN is not in it. One thread.
class PinRecord {
public:
    enum Outcome {
        UNTRIED,  ///< nothing is known about the file as it is now
        SENT,     ///< the PIN was about to be sent, and the answer was never seen
        ACCEPTED, ///< the SIM took it
        REJECTED  ///< the SIM refused it
    };

    /// @param path        the record; it need not exist
    /// @param properties  the file that holds the PIN
    PinRecord(std::string path, const std::string& properties);

    Outcome outcome() const;

    /// Writes the outcome, and has it on the disk when it returns.
    /// @return false, with errno, when it could not be written
    bool store(Outcome outcome) const;

private:
    std::string m_path;
    std::string m_marks;
};
