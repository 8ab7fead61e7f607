// The check of an index's structure, which everything that reads an index runs first.
//
//   1. header: signature, bucket count, start
//   2. hash walk: every record that a bucket reaches is sound and reached once (it is marked)
//   3. linear walk: the records from the first to the end of the file, one entry each
#pragma once

#include "src/index/reader.h"

namespace dirindex {

/// What a check meets. All up to linkForward and `truncated` make an index unusable; the others are
/// worth a warning.
enum class Remark {
    wrongSignature,
    noBuckets,
    startBehindEnd,
    startInHashTable,
    bucketToNowhere,
    truncatedRecord,
    bucketsCross,
    badReclen,
    badNamelen,
    linkToHashTable,
    linkForward,
    truncated,
    emptyDirectory,
    recordBehindEnd,
    endInsideBucket,
    inNoBucket,
    endInside,
    noEnd,
};

/// Hears of everything in the order in which it is met.
class CheckListener {
public:
    CheckListener() = default;
    CheckListener(const CheckListener&) = delete;
    CheckListener& operator=(const CheckListener&) = delete;
    virtual ~CheckListener() = default;

    /// The signature is right, and the checksum's field was zeroed: the bytes can be summed now.
    virtual void header(const Header& /*header*/) {}
    /// `record` is the one concerned where there is one.
    virtual void remark(Remark /*remark*/, const Header& /*header*/, const Record& /*record*/) {}
    /// A record of the linear walk; `link` is null without one. The texts lie in the index.
    /// @return false: no more is to be kept, the index is refused as truncated.
    virtual bool entry(const Record& record, const char* name, const char* link) = 0;
};

/// Whether the structure holds. Zeroes the checksum's field and marks records in the bytes, so the
/// same bytes cannot be checked twice.
bool checkStructure(MarkingReader& index, CheckListener& listener);

}  // namespace dirindex
