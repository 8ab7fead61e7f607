// The built library: what it offers to those who link it.
#include <gtest/gtest.h>

#include "base/subprocess.h"

namespace {

TEST(AgentLibraryTest, OffersNothingButWhatThePlatformDeclares) {
    std::vector<std::string> others;
    std::size_t symbols = 0;
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) {
        ++symbols;
        const std::string name = line.substr(line.find(' ', line.find(' ') + 1) + 1);
        const bool ofPlatform = name.starts_with("QXL::") || name.starts_with("QXA::") ||
                                name.find(" for QXL::") != std::string::npos ||
                                name.find(" for QXA::") != std::string::npos ||
                                name.find(" thunk to QXL::") != std::string::npos ||
                                name.find(" thunk to QXA::") != std::string::npos;
        const bool ofOurParts = name.starts_with("QXA::tem::");
        if (!ofPlatform || ofOurParts) {
            others.push_back(line);
        }
    };
    const auto result = base::runProcess({"nm", "-D", "-C", "--defined-only", QXAGENT}, options);
    ASSERT_TRUE(result.succeeded()) << result.reason();
    EXPECT_GT(symbols, 100U);
    EXPECT_EQ(others, std::vector<std::string>{});
}

}  // namespace
