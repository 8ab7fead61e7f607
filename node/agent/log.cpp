// The agent's log, a file written through spdlog.
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <sys/stat.h>

#include <array>
#include <boost/algorithm/hex.hpp>
#include <cstdarg>
#include <filesystem>
#include <iterator>
#include <memory>

#include "QXL/QXLLog.h"
#include "node/agent/format_text.h"
#include "node/agent/settings.h"

namespace QXL {

Logger Log;

namespace {

using Level = spdlog::level::level_enum;

Level levelOf(int level) {
    constexpr std::array<Level, 5> levels = {Level::critical, Level::err, Level::warn, Level::info,
                                             Level::debug};
    if (level <= kLogError) {
        return Level::err;
    }
    return levels[static_cast<std::size_t>(std::min<int>(level, kLogDebug))];
}

/// Makes a logger that is not in spdlog's registry, because other code in the process shares that
/// registry. Null if the log cannot be written.
std::unique_ptr<spdlog::logger> openLog() {
    const AgentSettings settings = readAgentSettings();
    // The sink would make a missing folder, but a machine that is not a node must not get one.
    std::error_code failure;
    if (!std::filesystem::is_directory(std::filesystem::path(settings.logFile).parent_path(),
                                       failure)) {
        return nullptr;
    }
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(settings.logFile);
    auto logger = std::make_unique<spdlog::logger>("qxagent", std::move(sink));
    logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %P %l %v");
    logger->set_level(levelOf(settings.logLevel));
    logger->flush_on(Level::trace);
    // The default handler writes to standard error, which belongs to the host.
    logger->set_error_handler([](const std::string&) {});
    if (!settings.fault.empty()) {
        logger->error("{}", settings.fault);
    }
    return logger;
}

spdlog::logger* logger() {
    // Never destroyed, because other objects may write log lines in their destructors.
    static spdlog::logger* const log = [] {
        try {
            return openLog().release();
        } catch (const std::exception&) {
            return static_cast<spdlog::logger*>(nullptr);
        }
    }();
    return log;
}

/// Escapes control characters, so that a text is always one line.
std::string onOneLine(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            line += c;
        } else {
            line += "\\x";
            boost::algorithm::hex_lower(&byte, &byte + 1, std::back_inserter(line));
        }
    }
    return line;
}

}  // namespace

void Logger::put(int level, const char* format, ...) {
    try {
        spdlog::logger* const log = logger();
        if (log == nullptr || !log->should_log(levelOf(level))) {
            return;
        }
        std::va_list arguments;
        va_start(arguments, format);
        const std::string text = formatText(format, arguments);
        va_end(arguments);
        log->log(levelOf(level), "{}", onOneLine(text));
    } catch (const std::exception&) {
        // A request must not fail because its log line cannot be written.
        return;
    }
}

}  // namespace QXL
