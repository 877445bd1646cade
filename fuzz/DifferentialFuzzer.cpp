// Bytes as a generated script, run with evaluation at once and without it: both ways must leave
// the same value, scope, output and count of logged errors, and neither may leak. A script that
// does not end within its budget on either side is not compared. QFN_FUZZ_PRINT=1 in the
// environment prints each generated script to standard error.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"
#include "support/BothWaysRun.h"
#include "support/ScriptGenerator.h"

namespace {

// Each side may take 50 slices of 2 ms for parsing and as many for evaluation.
constexpr int kSlices = 50;
constexpr int64_t kSliceMicroseconds = 2000;

void compareBothWays(const std::string& script)
{
    const QfnTest::BothWaysOutcome fast = QfnTest::runWithAtOnce(true, script, kSlices, kSliceMicroseconds);
    const QfnTest::BothWaysOutcome slow = QfnTest::runWithAtOnce(false, script, kSlices, kSliceMicroseconds);
    const bool unparsed = !fast.parsed && !slow.parsed;
    if (unparsed || (fast.completed && slow.completed && !fast.sameAs(slow))) {
        std::fprintf(stderr, "%s\n%s\nat once:\n%sresumably:\n%s",
                     unparsed ? "the generated script does not parse:" : "the two ways differ on:",
                     script.c_str(), fast.describe().c_str(), slow.describe().c_str());
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int64_t before = Qfn::OMStored::getOMStoredCount();
    try {
        const std::string script = QfnTest::generateScript(data, size);
        if (std::getenv("QFN_FUZZ_PRINT")) std::fprintf(stderr, "%s", script.c_str());
        compareBothWays(script);
    } catch (std::exception& e) {
        std::fprintf(stderr, "throws %s\n", e.what());
        __builtin_trap();
    }
    Qfn::Task::deregisterAllTasks();
    if (Qfn::OMStored::getOMStoredCount() != before) {
        std::fprintf(stderr, "OMStored count %lld after the run, %lld before\n",
                     static_cast<long long>(Qfn::OMStored::getOMStoredCount()),
                     static_cast<long long>(before));
        __builtin_trap();
    }
    return 0;
}
