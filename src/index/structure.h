// The check of an index's structure; everything that reads an index runs it first.
//
//   1. header: signature, bucket count, start
//   2. hash walk: every record that a bucket reaches is sound and reached once (it is marked)
//   3. linear walk: the records from the first to the end of the file, one entry each
#pragma once

#include "src/index/reader.h"

namespace dirindex {

/// What a check can find. All up to linkForward, and `truncated`, make an index unusable; the
/// others are warnings.
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

/// Called for everything that the check finds, in order.
class CheckListener {
public:
    CheckListener() = default;
    CheckListener(const CheckListener&) = delete;
    CheckListener& operator=(const CheckListener&) = delete;
    virtual ~CheckListener() = default;

    /// The signature is right and the checksum field was set to 0: the checksum can be computed
    /// now.
    virtual void header(const Header& /*header*/) {}
    /// `record` is the record concerned, if there is one.
    virtual void remark(Remark /*remark*/, const Header& /*header*/, const Record& /*record*/) {}
    /// A record of the linear walk; `link` is null if it has none. The texts are in the index.
    /// @return false to stop: the index is then refused as truncated.
    virtual bool entry(const Record& record, const char* name, const char* link) = 0;
};

/// True if the structure has no errors. Sets the checksum field to 0 and marks records in the
/// bytes, so the same bytes cannot be checked twice.
bool checkStructure(MarkingReader& index, CheckListener& listener);

}  // namespace dirindex
