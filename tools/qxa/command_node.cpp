// Commands about the node itself: templates to pack, node directories, events, history.
#include <unistd.h>

#include <cstdio>

#include "QXA/QXANodeDirectory.h"
#include "QXA/QXATemplatePackage.h"
#include "QXL/QXLError.h"
#include "tools/qxa/commands.h"
#include "tools/qxa/print.h"

namespace qxa {

int runTemplatePack(const CommonOptions& common, const std::string& folder,
                    const std::string& file) {
    QXL::clearErrorMessage();
    if (QXA::packTemplate(folder, file) != 0) {
        return printFailure(common, "template pack", QXL::getErrorMessage(), kExitFailed);
    }
    return kExitDone;
}

int runNodeInit(const CommonOptions& common, const std::string& folder) {
    QXL::clearErrorMessage();
    if (QXA::initNodeDirectory(folder) != 0) {
        return printFailure(common, "node init", QXL::getErrorMessage(), kExitFailed);
    }
    return kExitDone;
}

int runEvents(const CommonOptions& common, unsigned count, int timeoutSeconds) {
    QXL::clearErrorMessage();
    QXA::QXAEventListener listener;
    if (!listener.ready()) {
        return printFailure(common, "events", QXL::getErrorMessage(), kExitFailed);
    }
    if (common.verbose) {
        std::fputs("qxa: listening\n", stderr);
    }
    for (unsigned seen = 0; count == 0 || seen < count; ++seen) {
        QXA::QXAEvent event;
        const int got = listener.next(event, timeoutSeconds < 0 ? -1 : timeoutSeconds * 1000);
        if (got < 0) {
            return printFailure(common, "events", QXL::getErrorMessage(), kExitFailed);
        }
        if (got == 0) {
            break;
        }
        if (common.format == Format::json) {
            std::puts(eventAsJson(event).c_str());
        } else {
            std::printf("%s  %s  container %d\n", event.time.c_str(), event.kind.c_str(),
                        event.veid);
        }
        std::fflush(stdout);
    }
    return kExitDone;
}

int runHistory(const CommonOptions& common, std::size_t limit) {
    QXL::clearErrorMessage();
    std::vector<QXA::QXAJournalEntry> entries;
    if (QXA::QXAJournal::read(entries, limit) != 0) {
        return printFailure(common, "history", QXL::getErrorMessage(), kExitFailed);
    }
    if (common.format == Format::json) {
        std::puts(historyAsJson(entries).c_str());
    } else if (!entries.empty()) {
        printHistoryTable(entries);
    }
    return kExitDone;
}

}  // namespace qxa
