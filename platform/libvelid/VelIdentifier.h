/// Tells the hardware model that the daemon runs on.
#ifndef VELIDENTIFIER_H
#define VELIDENTIFIER_H

#include <string>

class cWlog;

/// Reads the model's number anew on every question; keeps nothing between them.
/// Threads: an object belongs to one thread; objects are independent of one another.
class VelIdentifier {
public:
    /// @param logger  borrowed for the life of the object; says what was found, and what is wrong with the file
    /// @param root    stands before the two paths below; for an image that is mounted elsewhere, and for tests
    explicit VelIdentifier(cWlog* logger, const char* root = "");

    /// @return the decimal number in "/etc/tav/hardware"; without that file 1 (the TAVLite card) where the device
    /// tree's
    ///         "/proc/device-tree/model" contains "TAVLite"; else, and for a file without a number, 0
    int getHardwareNumber();

private:
    cWlog* mLogger;
    std::string mRoot;
};

#endif
