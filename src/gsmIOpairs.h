/// The reader of the GSM message file: which SMS texts and telephone numbers belong to which port label.
#ifndef GSMIOPAIRS_H
#define GSMIOPAIRS_H

#include "cWlog.h"
#include "enum_list.h"
#include "gsmMessageInfo.h"

#include <libxml/tree.h>

#include <memory>

/// Threads: no lock. libxml2's global state is used, so no other file may be read at the same time.
class cgsmIOpairs : public cWlog {
public:
    static constexpr unsigned kMaxRecords = 65535; ///< "Label" elements of one file; the rest is ignored

    cgsmIOpairs();
    /// Releases no list that was handed out.
    virtual ~cgsmIOpairs();
    cgsmIOpairs(const cgsmIOpairs&) = delete;
    cgsmIOpairs& operator=(const cgsmIOpairs&) = delete;

    /// Reads @p filename.
    /// @return a new list, never null, with one record for each "Label" element, the last of the file first; empty when
    ///         there is no such file, which a warning says, or when it cannot be read, which an error line says. List
    ///         and records are the caller's
    cEnumeratedList<cgsmMessageInfo>* getGsmInfoList(const char* filename);

private:
    bool getRecords(xmlNodePtr root, const char* filename, cEnumeratedList<cgsmMessageInfo>* list);
    bool readRecord(xmlNodePtr label, const char* filename, cgsmMessageInfo* record);

    cEnumeratedList<cgsmMessageInfo>* mGsmInfoList;              ///< of the latest read; owned by whoever got it
    std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> mNoneRead; ///< what stands there before the first read
};

#endif
