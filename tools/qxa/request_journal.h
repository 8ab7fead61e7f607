// RequestJournal: writes one request into the agent's journal, before and after it acts.
#pragma once

#include "QXA/QXAJournal.h"
#include "tools/qxa/request.h"

namespace qxa {

/// Begins the entry when constructed, for requests that change something and on targets whose state
/// the caller may read; completes it in end(). A process that dies between leaves an entry that
/// reads back as interrupted.
class RequestJournal {
public:
    RequestJournal(const Request& request, const Target& target);
    RequestJournal(const RequestJournal&) = delete;
    RequestJournal& operator=(const RequestJournal&) = delete;

    void end(const Outcome& outcome);

private:
    const Target& m_target;
    bool m_active;
    QXA::QXAJournalEntry m_entry;
};

}  // namespace qxa
