// The client of the object server.
#ifndef COBJECTCLIENT_H
#define COBJECTCLIENT_H

#include <memory>

class cObject;
class cObjectList;
class cObjectListener;

/// Keeps a connection to the object server, reconnecting for ever (after 100 ms, doubling to 500 ms).
///
/// Threads: an io thread owns the socket; a delivery thread calls the listeners. get() and set() may be called by any
/// thread, a listener's included: an answer never needs the delivery thread.
/// Lock:    one of the client's own, never held while a listener runs or the network is waited for.
/// Limits:  a frame 1 MiB, an object list 16384; undelivered messages 65536 with 262144 objects, unsent ones 20000: a
///          connection that overruns them is closed and made anew, upon which the server tells the state of everything.
class cObjectClient {
public:
    cObjectClient();
    /// Ends both threads; a get() under way returns null.
    ~cObjectClient();
    cObjectClient(const cObjectClient&) = delete;
    cObjectClient& operator=(const cObjectClient&) = delete;

    /// @param listener borrowed, called for every message but answers to get(); add it before start()
    void addListener(cObjectListener* listener);

    /// Starts both threads and the first attempt to connect; does not wait for it.
    /// @return false if it was started before or a thread could not be made
    bool start(const char* host, int port);

    /// The server's objects for the kinds and labels in @p request; labels that it does not know are absent.
    /// @return a new list, owned by the caller like its objects; null without an answer: at once while there is no
    ///         connection or if the request is too long, after 5 s otherwise. An empty request is answered by an empty
    ///         list without asking.
    cObjectList* get(cObjectList* request);

    /// Hands the output's state to the io thread and returns; never waits for the server. Of several states of one
    /// output that have not been sent yet, the newest is sent.
    /// @return 0, or -1 without a connection, when too much is unsent, or for an object that is no port
    int set(cObject* object);

private:
    class Connection;
    std::unique_ptr<Connection> mConnection;
};

#endif
