// Reads the output of engines that list a package database in our format.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "node/kr/package.h"

namespace qxnode {

/// Control characters that separate the output. Engines do not allow them in names and versions; a
/// package with such a character in its summary only damages its own record.
inline constexpr char kRecordMark = '\x1e';  ///< begins a record
inline constexpr char kFieldMark = '\x1f';   ///< ends a field

/// Fields of a record: state, name, architecture, version, summary and description. The last two
/// may have several lines; the description ends at the next record.
class ListOutput {
public:
    /// Longest output that is read.
    static constexpr std::size_t kMaxBytes = 256U << 20;

    explicit ListOutput(OnPackage onPackage) : m_onPackage(std::move(onPackage)) {}

    /// Takes the next line of the output, without its end.
    /// @throws Failure QXTT_E_BAD_DATABASE if it is not in our format.
    void add(std::string_view line);

    /// Takes the end of the output.
    void finish();

private:
    void takeRecord();

    OnPackage m_onPackage;
    std::string m_record;
    bool m_inRecord = false;
    std::size_t m_bytes = 0;
};

}  // namespace qxnode
