// The outcome of the last try of the PIN, kept between starts of the service.
#pragma once

#include <string>

/// A file with one line: the outcome, and the inode, size and time of change of the properties file. The outcome is
/// valid only while these are the same: an edited file is untried. The PIN is not in the record. One thread.
class PinRecord {
public:
    enum Outcome {
        UNTRIED,  ///< not tried since the file changed
        SENT,     ///< sent, or about to be; the answer was not seen
        ACCEPTED, ///< the SIM accepted it
        REJECTED  ///< the SIM refused it
    };

    /// @param path        the record; need not exist
    /// @param properties  the file with the PIN
    PinRecord(std::string path, const std::string& properties);

    Outcome outcome() const;

    /// Writes the outcome, and flushes it to the disk. @return false with errno set on failure
    bool store(Outcome outcome) const;

private:
    std::string m_path;
    std::string m_marks;
};
