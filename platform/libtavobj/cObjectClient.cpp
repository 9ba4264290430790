#include "cObjectClient.h"

#include "connection.h"

cObjectClient::cObjectClient() : mConnection(std::make_unique<Connection>()) {}

cObjectClient::~cObjectClient() = default;

void cObjectClient::addListener(cObjectListener* listener)
{
    mConnection->addListener(listener);
}

void cObjectClient::onReconnection(std::function<void()> notice)
{
    mConnection->onReconnection(std::move(notice));
}

bool cObjectClient::isConnected() const
{
    return mConnection->isConnected();
}

size_t cObjectClient::undelivered() const
{
    return mConnection->undelivered();
}

bool cObjectClient::start(const char* host, int port)
{
    return mConnection->start(host, port);
}

cObjectList* cObjectClient::get(cObjectList* request)
{
    return mConnection->get(request);
}

int cObjectClient::set(cObject* object)
{
    return mConnection->set(*object);
}
