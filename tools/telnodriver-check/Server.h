// The checker's access to an object server.
#ifndef CHECK_SERVER_H
#define CHECK_SERVER_H

#include "cObjectClient.h"
#include "cObjectList.h"

#include <memory>
#include <string>
#include <vector>

class Server {
public:
    /// @param host HOST or HOST:PORT; connects in the background
    explicit Server(const std::string& host);

    /// Fetches the inputs or outputs with these labels. @return a list, whose objects the caller owns; null without an
    /// answer within some seconds
    std::unique_ptr<cObjectList> ports(const std::vector<std::string>& labels, bool outputs);

private:
    cObjectClient m_client;
};

#endif
