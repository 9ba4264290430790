// The client of the object server.
#ifndef COBJECTCLIENT_H
#define COBJECTCLIENT_H

#include <cstddef>
#include <functional>
#include <memory>

class cObject;
class cObjectList;
class cObjectListener;

/// Keeps a connection to the object server. It reconnects for ever: after 100 ms, doubling to 500 ms.
///
/// Threads: an io thread connects and receives; a delivery thread calls the listeners. Any thread may call get() and
///          set(), even in a listener: an answer never needs the delivery thread. Both send on the caller's thread what
///          the socket takes at once. The io thread sends the rest, in order.
/// Lock:    a private one, not held while a listener runs or while waiting for the network.
/// Limits:  1 MiB a frame, 16384 objects a list, 65536 undelivered messages with 262144 objects, 20000 unsent frames. A
///          connection that exceeds one is closed and made again.
class cObjectClient {
public:
    cObjectClient();
    /// Ends both threads. A pending get() returns null.
    ~cObjectClient();
    cObjectClient(const cObjectClient&) = delete;
    cObjectClient& operator=(const cObjectClient&) = delete;

    /// @param listener  borrowed; called for every message except answers to get(). Add it before start()
    void addListener(cObjectListener* listener);

    /// @param notice  called on the io thread when a connection is made after one was lost, or after a get() found
    /// none:
    ///                the caller should then fetch what it has missed. It must return at once and not call the client.
    ///                Set it before start()
    void onReconnection(std::function<void()> notice);

    /// Whether there is a connection. Any thread; takes no lock, like undelivered().
    bool isConnected() const;
    /// Messages that wait for the delivery thread; the one that it delivers is none of them.
    size_t undelivered() const;

    /// Starts both threads and the first attempt to connect, without waiting for it.
    /// @return false if it was started before or a thread cannot be created
    bool start(const char* host, int port);

    /// Fetches the objects with the kinds and labels in @p request. Labels that the server does not know are absent.
    /// @return a new list; the caller owns it and its objects. Null without an answer within 5 s; null at once if the
    ///         request is too long, or without a connection (after the first attempt to connect). An empty request
    ///         gives an empty list, without asking the server.
    cObjectList* get(cObjectList* request);

    /// Sends the output's state, or queues it until the socket takes it. Never waits for the server. A newer state of
    /// an output replaces one that is still queued.
    /// @return 0; -1 without a connection, with a full queue, or for an object that is no port
    int set(cObject* object);

private:
    class Connection;
    std::unique_ptr<Connection> mConnection;
};

#endif
