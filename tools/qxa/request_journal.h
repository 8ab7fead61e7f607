// RequestJournal: writes one request into the agent's journal, before and after it acts.
#pragma once

#include "QXA/QXAJournal.h"
#include "tools/qxa/request.h"

namespace qxa {

/// The constructor begins an entry, if the request changes something and the caller may list the
/// target; end() completes it. If the process dies in between, the entry says "interrupted".
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
