// Optional operations of the closed libraries: used if the linked library has them.
#ifndef LIBRARYEXTRAS_H
#define LIBRARYEXTRAS_H

#include <cstddef>
#include <utility>

namespace libraryExtras {

template <typename Client, typename Notice>
auto onReconnection(Client& client, Notice&& notice, int)
    -> decltype(client.onReconnection(std::forward<Notice>(notice)))
{
    return client.onReconnection(std::forward<Notice>(notice));
}
template <typename Client, typename Notice> void onReconnection(Client&, Notice&&, long) {}

/// Lets the object client call @p notice when it is connected again. Does nothing if the client cannot: then the next
/// poll finds what changed during an outage.
template <typename Client, typename Notice> void onReconnection(Client& client, Notice&& notice)
{
    onReconnection(client, std::forward<Notice>(notice), 0);
}

template <typename Client> auto isConnected(const Client& client, int) -> decltype(client.isConnected())
{
    return client.isConnected();
}
template <typename Client> bool isConnected(const Client&, long)
{
    return true;
}

/// Whether there is a connection; true if the client cannot tell.
template <typename Client> bool isConnected(const Client& client)
{
    return isConnected(client, 0);
}

template <typename Client> auto undelivered(const Client& client, int) -> decltype(client.undelivered())
{
    return client.undelivered();
}
template <typename Client> std::size_t undelivered(const Client&, long)
{
    return 0;
}

/// The number of messages that wait for the delivery thread; 0 if the client cannot tell.
template <typename Client> std::size_t undelivered(const Client& client)
{
    return undelivered(client, 0);
}

template <typename Logger> auto mayTrace(const Logger& logger, int) -> decltype(logger.writes(Logger::DEBUG))
{
    return logger.writes(Logger::DEBUG);
}
template <typename Logger> bool mayTrace(const Logger&, long)
{
    return true;
}

/// Whether a debug line may be written; true if the logger cannot tell.
template <typename Logger> bool mayTrace(const Logger& logger)
{
    return mayTrace(logger, 0);
}

} // namespace libraryExtras

#endif
