// Times for people: local time with its offset.
#pragma once

#include <time.h>

#include <string>

namespace qxnode {

/// "2026-11-20T20:00:00+0000".
inline std::string localTime(time_t when = time(nullptr)) {
    struct tm parts {};
    localtime_r(&when, &parts);
    char text[40];
    return {text, strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S%z", &parts)};
}

}  // namespace qxnode
