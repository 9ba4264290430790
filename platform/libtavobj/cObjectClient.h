// The client of the object server.
#ifndef COBJECTCLIENT_H
#define COBJECTCLIENT_H

#include <cstddef>
#include <functional>
#include <memory>

class cObject;
class cObjectList;
class cObjectListener;

/// Keeps a connection to the object server, reconnecting for ever (after 100 ms, doubling to 500 ms).
///
/// Threads: an io thread makes the connections and reads; a delivery thread calls the listeners. get() and set() may be
///          called by any thread, a listener's included: an answer never needs the delivery thread. Both send from
///          their caller's thread what the socket takes at once, and leave the rest to the io thread, in order.
/// Lock:    one of the client's own, never held while a listener runs or the network is waited for.
/// Limits:  a frame 1 MiB, an object list 16384; undelivered messages 65536 with 262144 objects, unsent ones 20000: a
///          connection that overruns them is closed and made anew.
class cObjectClient {
public:
    cObjectClient();
    /// Ends both threads; a get() under way returns null.
    ~cObjectClient();
    cObjectClient(const cObjectClient&) = delete;
    cObjectClient& operator=(const cObjectClient&) = delete;

    /// @param listener borrowed, called for every message but answers to get(); add it before start()
    void addListener(cObjectListener* listener);

    /// Add it before start(). @param notice called on the io thread when there is a connection again, after one was
    /// lost or a get() has found none: what was missed is to be asked for. It returns at once and calls nothing of the
    /// client
    void onReconnection(std::function<void()> notice);

    /// Whether there is a connection. Any thread; takes no lock, like undelivered().
    bool isConnected() const;
    /// Messages that wait for the delivery thread; the one that it delivers is none of them.
    size_t undelivered() const;

    /// Starts both threads and the first attempt to connect; does not wait for it.
    /// @return false if it was started before or a thread could not be made
    bool start(const char* host, int port);

    /// The server's objects for the kinds and labels in @p request; labels that it does not know are absent.
    /// @return a new list, owned by the caller like its objects; null without an answer: after 5 s, or at once if the
    ///         request is too long or there is no connection and the first attempt to make one is over. An empty
    ///         request is answered by an empty list without asking.
    cObjectList* get(cObjectList* request);

    /// Sends the output's state, or keeps it until the socket takes it; never waits for the server. Of several states
    /// of one output that have not been sent yet, the newest is sent.
    /// @return 0, or -1 without a connection, when too much is unsent, or for an object that is no port
    int set(cObject* object);

private:
    class Connection;
    std::unique_ptr<Connection> mConnection;
};

#endif
