// Micro-benchmarks of the two hottest paths: a resumable call that does not suspend, and an
// arithmetic operator that writes into a reusable temporary.
#include <benchmark/benchmark.h>

#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"

namespace {

// A task in the middle of a long slice: every state asks the clock whether the slice is over.
class BenchTask : public virtual Qfn::Task {
public:
    explicit BenchTask(bool inSlice) : Task("BenchTask", -2, nullptr)
    {
        if (inSlice) fTimesliceDeadline = Qfn::Clock::nowNanoseconds() + 3600'000'000'000;
    }
    void timeslice() override {}
};

void leaf_yielding(const std::shared_ptr<Qfn::Task>& task, int& retVal)
{
    struct LocalVariableState : virtual Qfn::OMFunctionState {
        int value = 0;
    };
    Qfn::YieldingFrame<LocalVariableState> frame(task);
    if (frame.isFirstEntry()) retVal = 0;
    LocalVariableState& s = *frame;
    do {
        switch (s.fState) {
            case 0:
                retVal = ++s.value;
                s.fState = Qfn::kFinished;
                break;
        }
    } while (frame.keepGoing());
    frame.release();
}

void outer_yielding(const std::shared_ptr<Qfn::Task>& task, int& retVal)
{
    struct LocalVariableState : virtual Qfn::OMFunctionState {
        int inner = 0;
    };
    enum : unsigned { CALL_LEAF = 1 };
    Qfn::YieldingFrame<LocalVariableState> frame(task);
    if (frame.isFirstEntry()) retVal = 0;
    LocalVariableState& s = *frame;
    do {
        switch (s.fState) {
            case 0:
                s.fState = CALL_LEAF;
                break;
                YIELDING_CALL(CALL_LEAF, leaf_yielding(task, s.inner));
            case Qfn::resumeAfter(CALL_LEAF):
                retVal = s.inner;
                s.fState = Qfn::kFinished;
                break;
        }
    } while (frame.keepGoing());
    frame.release();
}

void BM_NestedYieldingCallWithoutSuspension(benchmark::State& state)
{
    std::shared_ptr<Qfn::Task> task = std::make_shared<BenchTask>(state.range(0) != 0);
    int result = 0;
    for (auto _ : state) {
        leaf_yielding(task, result);
        benchmark::DoNotOptimize(result);
    }
}
// Argument 1: inside a timed slice; 0: a run to completion without deadlines.
BENCHMARK(BM_NestedYieldingCallWithoutSuspension)->Arg(1)->Arg(0);

void BM_OuterCallingNestedYielding(benchmark::State& state)
{
    std::shared_ptr<Qfn::Task> task = std::make_shared<BenchTask>(state.range(0) != 0);
    int result = 0;
    for (auto _ : state) {
        outer_yielding(task, result);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(BM_OuterCallingNestedYielding)->Arg(1)->Arg(0);

void BM_IntPlusIntWithReuse(benchmark::State& state)
{
    // Operands as an evaluation holds them: by shared pointer, the left one a temporary.
    std::shared_ptr<Qfn::IOMNode> left = Qfn::OMStored::factory(int64_t{40});
    std::shared_ptr<Qfn::IOMNode> right = Qfn::OMStored::factory(int64_t{2});
    for (auto _ : state) {
        auto result = Qfn::OMNode::binaryOperation(Qfn::BinOp::ADD, left, Qfn::NodeReuse::REUSE, right,
                                                   Qfn::NodeReuse::NO_REUSE, nullptr);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(BM_IntPlusIntWithReuse);

}  // namespace

BENCHMARK_MAIN();
