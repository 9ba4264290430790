/// The reader of the GSM message file: which SMS texts and telephone numbers belong to which port label.
#ifndef GSMIOPAIRS_H
#define GSMIOPAIRS_H

#include "cWlog.h"
#include "enum_list.h"
#include "gsmMessageInfo.h"

#include <libxml/tree.h>

#include <memory>

/// Threads: no lock. Do not read another XML file at the same time: libxml2 has global state.
class cgsmIOpairs : public cWlog {
public:
    static constexpr unsigned kMaxRecords = 65535; ///< in one file; the rest is ignored

    cgsmIOpairs();
    /// Releases nothing: callers own the lists.
    virtual ~cgsmIOpairs();
    cgsmIOpairs(const cgsmIOpairs&) = delete;
    cgsmIOpairs& operator=(const cgsmIOpairs&) = delete;

    /// Reads @p filename.
    /// @return a new list with a record for each "Label" element, the last of the file first; the caller owns list and
    ///         records. Never null. Empty, with a warning, if there is no such file; empty, with an error line, if it
    ///         cannot be read
    cEnumeratedList<cgsmMessageInfo>* getGsmInfoList(const char* filename);

private:
    bool getRecords(xmlNodePtr root, const char* filename, cEnumeratedList<cgsmMessageInfo>* list);
    bool readRecord(xmlNodePtr label, const char* filename, cgsmMessageInfo* record);

    cEnumeratedList<cgsmMessageInfo>* mGsmInfoList;              ///< of the last read; its caller owns it
    std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> mNoneRead; ///< mGsmInfoList before the first read
};

#endif
