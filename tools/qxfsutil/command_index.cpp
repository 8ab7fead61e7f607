// Commands on single index files: dump, build, stat; and the table of findings.
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/content.h"
#include "base/durable.h"
#include "src/index/index_image.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"
#include "tools/qxfsutil/report.h"

namespace qxfsutil {

namespace {

bool readInput(const std::string& path, std::string& text) {
    if (path != "-") {
        auto content = base::readSuspect(AT_FDCWD, path, dirindex::kMaxBuiltSize);
        text = content ? *std::move(content) : "";
        return content.has_value();
    }
    char buffer[65536];
    for (auto got = std::fread(buffer, 1, sizeof buffer, stdin); got > 0;
         got = std::fread(buffer, 1, sizeof buffer, stdin)) {
        text.append(buffer, got);
        if (text.size() > dirindex::kMaxBuiltSize) {
            errno = EFBIG;
            return false;
        }
    }
    return std::ferror(stdin) == 0;
}

}  // namespace

int runDump(const Options& options) {
    int exitCode = kExitClean;
    for (const auto& name : options.names) {
        const auto bytes = base::readSuspect(AT_FDCWD, name, dirindex::kMaxBuiltSize);
        if (!bytes) {
            return reportFailure(options, name, std::strerror(errno));
        }
        dirindex::IndexText text;
        std::string error;
        if (!dirindex::dumpImage(*bytes, text, error)) {
            reportFailure(options, name, error);
            exitCode |= kExitErrorsLeft;
            continue;
        }
        std::fputs((options.json ? entriesAsJson(name, text.entries) : dirindex::formatIndex(text))
                       .c_str(),
                   stdout);
    }
    return exitCode;
}

int runBuild(const Options& options) {
    std::string text;
    const auto& name = options.names.front();
    if (!readInput(name, text)) {
        return reportFailure(options, name, std::strerror(errno));
    }
    dirindex::IndexText index;
    std::string error;
    std::string bytes;
    if (!dirindex::parseIndex(text, index, error)) {
        return reportFailure(options, name, error);
    }
    if (!dirindex::buildImage(index, bytes, error)) {
        return reportFailure(options, name, error);
    }
    if (options.output.empty()) {
        const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
        return written ? kExitClean : reportFailure(options, "build", std::strerror(errno));
    }
    return base::replaceFile(options.output, bytes, error)
               ? kExitClean
               : reportFailure(options, options.output, error);
}

int runStat(const Options& options) {
    int exitCode = kExitClean;
    for (const auto& name : options.names) {
        const auto index = dirindex::readIndexFile(AT_FDCWD, name);
        if (!index.sound) {
            reportFailure(options, name, index.reason);
            exitCode |= index.readable ? kExitErrorsLeft : kExitOperational;
            continue;
        }
        const auto stat = dirindex::statOf(index);
        std::fputs((options.json ? statAsJson(name, stat) : statAsText(name, stat)).c_str(),
                   stdout);
    }
    return exitCode;
}

int runFindings(const Options& options) {
    for (const auto& kind : qxfs::findingKinds()) {
        std::fputs((options.json ? kindAsJson(kind) : kindAsText(kind)).c_str(), stdout);
    }
    return kExitClean;
}

}  // namespace qxfsutil
