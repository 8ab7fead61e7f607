// Memory that runs out at a chosen allocation.
#ifndef TESTS_UNIT_NODE_QXTT_FAILING_NEW_H
#define TESTS_UNIT_NODE_QXTT_FAILING_NEW_H

namespace qxtt_test {

// While it lives, operator new works `allocations` times and then fails once. Parsing
// TOML and walking directories end the process in their libraries when they get no memory; the
// allocations of these are spared.
class FailingNew {
public:
    explicit FailingNew(int allocations);

    // Whether the allocation that was to fail was spared.
    static bool spared();

    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

}  // namespace qxtt_test

#endif
