// Arbitrary bytes as serialized input: reading must neither crash nor leak objects, and whatever
// is read must write text that reads back to a value writing the same text.
#include <cstdint>
#include <cstdio>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/DataNull.h"
#include "QfnData/Data_abstract.h"
#include "QfnLogger/Log.h"
#include "QfnObject/Object.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"

namespace {

[[noreturn]] void fail(const char* what, const std::string& first, const std::string& second)
{
    std::fprintf(stderr, "%s\n  first:  %s\n  second: %s\n", what, first.c_str(), second.c_str());
    __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Qfn::Log::setLogLevel(0);
    if (!Qfn::InternalCoordinator::registerObjectClasses()) __builtin_trap();
    // The one DataNull and the coordinator, which input may name, live for the whole run.
    if (!Qfn::DataNull::factory() || !Qfn::InternalCoordinator::factory()) __builtin_trap();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace Qfn;
    const uint64_t objectsBefore = Object::getObjectCount();
    const int64_t nodesBefore = OMStored::getOMStoredCount();
    {
        const std::string input(reinterpret_cast<const char*>(data), size);
        auto value = Data_abstract::deserializeFromStr(input);
        if (value) {
            const std::string once = Data_abstract::serializeToStr(value);
            if (once.empty()) fail("what was read cannot be written", input, "");
            auto again = Data_abstract::deserializeFromStr(once);
            if (!again) fail("what was written cannot be read", once, "");
            const std::string twice = Data_abstract::serializeToStr(again);
            if (twice != once) fail("writing what was read back changed the text", once, twice);
        }
    }
    Task::deregisterAllTasks();
    if (Object::getObjectCount() != objectsBefore || OMStored::getOMStoredCount() != nodesBefore) {
        std::fprintf(stderr, "objects %llu and nodes %lld after the input, %llu and %lld before\n",
                     static_cast<unsigned long long>(Object::getObjectCount()),
                     static_cast<long long>(OMStored::getOMStoredCount()),
                     static_cast<unsigned long long>(objectsBefore), static_cast<long long>(nodesBefore));
        __builtin_trap();
    }
    return 0;
}
