// A directory to scan, entered, with the checker's state clean before and after each test.
#ifndef TESTS_UNIT_SRC_CHECKER_FIXTURE_H
#define TESTS_UNIT_SRC_CHECKER_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/answered_calls.h"
#include "tests/support/area.h"
#include "tests/support/capture.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"

class CheckerTest : public testing::Test {
protected:
    CheckerTest() : work_(area_.dir()) {}
    ~CheckerTest() override {
        qxfsutil_debug_level = 0;
        clean_memory();
        namelist_clean(&rl_info);
        priv_dir = nullptr;
    }

    // What is said at a debug level, standard output before standard error; result_ keeps the
    // result.
    std::string said(int level, const std::function<int()>& action) {
        qxfsutil_debug_level = level;
        const qx_test::Output output = qx_test::captured([&] { result_ = action(); });
        qxfsutil_debug_level = 0;
        return output.out + output.err;
    }

    // The same at level 2 in a child that has no rights to others' files, and the result behind it;
    // for failures to open that root never meets.
    std::string said_without_rights(const std::function<int()>& action) {
        const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
            if (seteuid(kNobody) != 0) {
                return "cannot become nobody";
            }
            const std::string text = said(2, action);
            return text + std::to_string(result_);
        });
        return result.text;
    }
    static constexpr uid_t kNobody = 65534;

    // The same where the kernel refuses some calls with an input/output error.
    qx_test::Answered said_while_refused(std::initializer_list<long> calls,
                                         const std::function<int()>& action) {
        return qx_test::with_calls_answered(calls, EIO, [&] {
            const std::string text = said(2, action);
            return text + std::to_string(result_);
        });
    }

    static std::vector<std::string> to_remove() {
        std::vector<std::string> names;
        for (const struct namelist* entry = rl_info; entry != nullptr; entry = entry->next) {
            names.emplace_back(entry->name);
        }
        return names;
    }

    qx_test::Area area_;
    qx_test::WorkingDirectory work_;
    int result_ = 0;
};

#endif
