// Maps results of requests to exit codes.
#include "tools/qxa/exit_code.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLLockPolicy.h"
#include "QXL/QXLResult.h"

namespace qxa {

namespace {

// Codes that mean "refused": those of the interface, those of the template manager, which updates
// and removals pass on, and the KR tool's.
constexpr int kToolRefused = 27;
constexpr std::array kRefusals{
    int{QXL::kPkgRemoveUnsuitable}, int{QXL::kPkgUpdateUnsuitable},  int{QXL::kPkgDamaged},
    int{QXL::kPkgConflict},         int{QXL::kPkgUnknownCollection}, int{QXA::kTemConflict},
    int{QXA::kTemDamaged},          int{QXA::kTemNotStandard},       kToolRefused};

// This refusal has the code of a failure; its fixed text tells it apart.
constexpr std::string_view kInUseMessage = "some Containers use package(s) ";

// From best to worst: of several targets the worst one decides the exit code.
constexpr std::array kGravity{kExitDone,   kExitRefused, kExitLockTimeout, kExitUnknownTarget,
                              kExitDenied, kExitFailed,  kExitUsage,       kExitInterrupted};

}  // namespace

ExitCode exitCodeOf(const RequestResult& result) {
    if (result.code == QXL::kPkgOk) {
        return kExitDone;
    }
    if (result.code == QXL::kPkgAccessDenied) {
        return kExitDenied;
    }
    if (!result.targetKnown) {
        return kExitUnknownTarget;
    }
    if (result.platformCode == QXL::kErrorLockTimeout || result.code == QXL::kErrorLockTimeout) {
        return kExitLockTimeout;
    }
    const bool refused =
        std::find(kRefusals.begin(), kRefusals.end(), result.code) != kRefusals.end() ||
        result.message.starts_with(kInUseMessage);
    return refused ? kExitRefused : kExitFailed;
}

ExitCode worse(ExitCode a, ExitCode b) {
    const auto rank = [](ExitCode code) {
        return std::find(kGravity.begin(), kGravity.end(), code) - kGravity.begin();
    };
    return rank(a) < rank(b) ? b : a;
}

}  // namespace qxa
