/// The reader of the I/O pair file: which inputs drive which outputs.
#ifndef IOPAIRS_H
#define IOPAIRS_H

#include "cWlog.h"
#include "tavConnection.h"

#include <libxml/tree.h>

#include <cstdint>

/// Threads: no lock. Do not read another XML file at the same time: libxml2 has global state.
class cIOpairs : public cWlog {
public:
    /// @param filename  path for getConnectionLst; the pointer is kept and must stay valid
    explicit cIOpairs(const char* filename);
    /// Releases nothing: callers own the lists.
    virtual ~cIOpairs();

    /// Reads the file anew.
    /// If a label is too long or a list of children is full, the whole connection is refused with an error line:
    /// without one condition, the rule would drive its output on the others.
    /// @return a new list of tavConnection* in file order, each with a trigger and an action; the caller owns list and
    ///         connections. Null, with an error line, if the file cannot be read, has no connection, or memory runs out
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

    bool mRefused = false;     // the connection being read
    bool mOutOfMemory = false; // while an attribute was read
};

#endif
