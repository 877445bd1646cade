// One request's road inside the process: an EVAL of "1 + 2" queued for the default service, routed,
// parsed, run in its task, and its answer queued and delivered (to the null service, which drops it).
#include <benchmark/benchmark.h>

#include <memory>

#include "QfnAddress/InternalAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnMessage/Message.h"
#include "QfnService/ServiceNull.h"
#include "QfnTask/Task.h"

namespace {

std::shared_ptr<Qfn::InternalCoordinator> preparedCoordinator()
{
    static const bool registered = Qfn::InternalCoordinator::registerObjectClasses();
    if (!registered) return nullptr;
    return std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory());
}

void BM_EvalRequestInProcess(benchmark::State& state)
{
    auto coordinator = preparedCoordinator();
    auto sender = Qfn::ServiceNull::factory();
    auto receiver = Qfn::InternalAddress::factoryFromIndices("default");
    if (!coordinator || !sender || !receiver) {
        state.SkipWithError("no coordinator");
        return;
    }
    for (auto _ : state) {
        auto request = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
            sender, receiver, Qfn::OpCode::EVAL, "{script: \"1 + 2\", clientSequenceNr: 1}");
        coordinator->queueMessage(request);
        coordinator->processMessageQueues();
        while (!Qfn::Task::getActiveTasks().empty()) {
            int64_t available = 100000;
            Qfn::Task::runActiveTasks(available);
        }
        if (coordinator->getMessageQueueSize() != 1) {
            state.SkipWithError("no answer queued");
            break;
        }
        coordinator->processMessageQueues();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EvalRequestInProcess);

}  // namespace
