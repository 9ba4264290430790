#pragma once

class cObjectList;

class cObjectListener {
public:
    virtual void handleObjectAction(cObjectList* rx_msg) = 0;
    virtual ~cObjectListener() = default;
};
