/// The reader of the I/O pair file: which inputs drive which outputs.
#ifndef IOPAIRS_H
#define IOPAIRS_H

#include "cWlog.h"
#include "tavConnection.h"

#include <libxml/tree.h>

#include <cstdint>

/// Threads: no lock. libxml2's global state is used, so no other file may be read at the same time.
class cIOpairs : public cWlog {
public:
    /// @param filename  path, read by getConnectionLst only; the pointer is kept and must stay valid
    explicit cIOpairs(const char* filename);
    /// Releases nothing: lists handed out belong to those who asked for them.
    virtual ~cIOpairs();

    /// Reads the file anew.
    /// A connection is refused whole, with an error line, where a label is too long or a list of children is full: a
    /// rule that loses one condition would drive on the rest.
    /// @return a new list of tavConnection* in the order of the file, each with a trigger and an action; list and
    ///         connections are the caller's. Null when the file cannot be read or holds no connection, or when memory
    ///         runs out; error lines say why
    WList* getConnectionLst();

private:
    tavTrigger* getTrigger(xmlNodePtr& node);
    tavTrigger* getAction(xmlNodePtr& node);
    void setOperation(xmlNodePtr& node, tavTrigger* action);
    void getDetailProperties(xmlNodePtr& ioNode, char* label, int* type, bool* invert);
    uint8_t parseDevType(const char* typeString);
    tavConnection* getConnection(xmlNodePtr& node);
    void getConnections(xmlNodePtr root, WList* list);
    void addChild(WList* list, tavTrigger* child, xmlNodePtr& node);

    const char* mFilename;

    bool mRefused = false;     // the connection that is being read is refused
    bool mOutOfMemory = false; // an attribute of the file could not be read
};

#endif
