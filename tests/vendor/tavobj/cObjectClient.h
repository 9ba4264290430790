#pragma once

class cObject;
class cObjectList;
class cObjectListener;

class cObjectClient {
public:
    void addListener(cObjectListener* listener) { mListener = listener; }
    bool start(const char* host, int port);
    cObjectList* get(cObjectList* request);
    int set(cObject* object);

private:
    cObjectListener* mListener = nullptr;
};
