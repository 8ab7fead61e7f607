// What engines print when they list a package database, in a format of ours.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "node/kr/package.h"

namespace qxnode {

/// Control characters that frame the output. No engine lets them into names or versions, and a text
/// that holds them all the same is its package's own fault.
inline constexpr char kRecordMark = '\x1e';  ///< begins a record
inline constexpr char kFieldMark = '\x1f';   ///< ends a field

/// Fields of a record: state, name, architecture, version, then texts that may go on over lines:
/// summary and description, of which the last runs to the next record.
class ListOutput {
public:
    /// Longest output that is read.
    static constexpr std::size_t kMaxBytes = 256U << 20;

    explicit ListOutput(OnPackage onPackage) : m_onPackage(std::move(onPackage)) {}

    /// Takes the next line of the output, without its end.
    /// @throws Failure QXTT_E_BAD_DATABASE when it cannot be what was asked for.
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
