// A maker's identifier: never the TAVLite card.
#pragma once

class cWlog;

class VelIdentifier {
public:
    explicit VelIdentifier(cWlog* logger);
    int getHardwareNumber();
};
