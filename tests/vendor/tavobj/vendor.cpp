#include "cObjectClient.h"

#include <cstdio>
#include <cstdlib>

bool cObjectClient::start(const char*, int port)
{
    printf("the maker's client, %s, port %d\n", mListener != nullptr ? "listened to by the manager" : "alone", port);
    exit(port == 60000 ? 0 : 1);
}

cObjectList* cObjectClient::get(cObjectList*)
{
    return nullptr;
}

int cObjectClient::set(cObject*)
{
    return -1;
}
