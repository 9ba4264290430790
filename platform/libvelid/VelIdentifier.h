/// Identifies the hardware that the daemon runs on.
#ifndef VELIDENTIFIER_H
#define VELIDENTIFIER_H

#include <string>

class cWlog;

/// Reads the hardware number at each call, and stores nothing.
/// Threads: one thread for each object; objects are independent.
class VelIdentifier {
public:
    /// @param logger  borrowed; receives the result and any mistake of the file
    /// @param root    prefix of the two paths below, for a mounted image and for tests
    explicit VelIdentifier(cWlog* logger, const char* root = "");

    /// @return the decimal number in "/etc/tav/hardware", 0 if the file has none. Without the file: 1 (the TAVLite
    /// card)
    ///         if "/proc/device-tree/model" contains "TAVLite", else 0
    int getHardwareNumber();

private:
    cWlog* mLogger;
    std::string mRoot;
};

#endif
