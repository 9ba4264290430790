#include "VelIdentifier.h"

VelIdentifier::VelIdentifier(cWlog*) {}

int VelIdentifier::getHardwareNumber()
{
    return 0;
}
