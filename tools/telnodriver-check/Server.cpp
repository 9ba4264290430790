#include "Server.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <set>
#include <thread>

namespace {

constexpr int kDefaultPort = 60000;
constexpr int kAttempts = 30; // while the connection is being made
constexpr std::chrono::milliseconds kPause(100);

} // namespace

Server::Server(const std::string& host)
{
    // One colon separates a port; more of them are an IPv6 address.
    const bool withPort = std::count(host.begin(), host.end(), ':') == 1;
    const size_t colon = withPort ? host.find(':') : host.size();
    m_client.start(host.substr(0, colon).c_str(), withPort ? atoi(host.c_str() + colon + 1) : kDefaultPort);
}

std::unique_ptr<cObjectList> Server::ports(const std::vector<std::string>& labels, bool outputs)
{
    cObjectList request;
    for (const std::string& label : std::set<std::string>(labels.begin(), labels.end())) {
        cObjectPort* wanted = outputs ? new cObjectDOutput() : new cObjectPort();
        wanted->setPortLabel(label.c_str());
        request.add(wanted);
    }
    std::unique_ptr<cObjectList> answer;
    for (int attempt = 0; attempt < kAttempts && !answer; ++attempt) {
        answer.reset(m_client.get(&request));
        if (!answer)
            std::this_thread::sleep_for(kPause);
    }
    request.deleteObjects();
    return answer;
}
